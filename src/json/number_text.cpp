// Double: locale-independent "%.17g" text and strtod-compatible reading of doubles.
#include "json/number_text.h"

#include "json/decimal_digits.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <locale.h>
#include <system_error>

namespace pocketjson {

namespace {

struct Pow10 {
    std::uint64_t high;
    std::uint64_t low;
    int exponent;
};

#include "json/pow10_table.inc"

__extension__ typedef unsigned __int128 u128; // GCC and clang both provide it

using detail::eightDigitValues;
using detail::kAsciiZeros;
using detail::kDigitPairs;

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "digit words are stored little-endian");
static_assert(kPow10CeilMin == -323 && kPow10CeilMax == 308 && kPow10Min <= -292 &&
                  kPow10Max >= 340,
              "the tables cover every decimal exponent of a positive finite double");

constexpr std::uint64_t kTen8 = 100000000ULL;
constexpr std::uint64_t kTen16 = 10000000000000000ULL;
constexpr std::uint64_t kTen17 = 100000000000000000ULL;

// The 17 significant digits of a double a > 0 as one integer n in [10^16, 10^17), correctly
// rounded as printf rounds them, with a = n * 10^(x - 16).
//
// x is exact before any multiplication: k = floor(log2(a) * log10(2)) gives 10^k <= a <
// 10^(k + 2), and comparing a with the smallest double not below 10^(k + 1) settles which. Then
// a * 10^q (q = 16 - x) lies in [10^16, 10^17). With the significand m aligned so that the
// product's integer part is its top 64 bits, m * P (P the truncated 128-bit significand of
// 10^q) yields that integer and a 64-bit fraction f. The truncations (of P, and of the lowest
// product word) make f at most 1 + 2^-6 units too small, never too large, so f decides the
// rounding except when it lies next to one half: then false is returned (exact ties, which
// printf breaks to even, are among those) and the caller uses the C library's algorithm.
__attribute__((always_inline)) inline bool seventeenDigits(std::uint64_t bits, std::uint64_t& n,
                                                           int& x) {
    std::uint64_t m = bits & ((1ULL << 52) - 1);
    int const biased = static_cast<int>((bits >> 52) & 0x7FF);
    int e;
    if (biased != 0) {
        m |= 1ULL << 52;
        e = biased - 1075;
    } else {
        // Subnormal: normalized here so that m has 53 bits like every other significand. Zero
        // has no digits to find (callers write it themselves).
        if (m == 0)
            return false;
        int const z = __builtin_clzll(m) - 11;
        m <<= z;
        e = -1074 - z;
    }
    double a;
    std::uint64_t const magnitude = bits & ~(1ULL << 63);
    std::memcpy(&a, &magnitude, sizeof a);
    int const k = ((e + 52) * 78913) >> 18; // floor(log2(a) * log10(2)), exact in range
    x = k + (a >= kPow10Ceil[k + 1 - kPow10CeilMin] ? 1 : 0);
    Pow10 const& p = kPow10[16 - x - kPow10Min];
    // a * 10^q = m * 2^e * P * 2^E (up to P's truncation) = (m << s) * P / 2^128, s in [1, 5].
    int const s = e + p.exponent + 128;
    std::uint64_t const aligned = m << s;
    u128 const lowProduct = static_cast<u128>(aligned) * p.low;
    u128 const highProduct = static_cast<u128>(aligned) * p.high;
    u128 const middle = (lowProduct >> 64) + static_cast<std::uint64_t>(highProduct);
    std::uint64_t const integer =
        static_cast<std::uint64_t>(highProduct >> 64) + static_cast<std::uint64_t>(middle >> 64);
    std::uint64_t const fraction = static_cast<std::uint64_t>(middle);
    constexpr std::uint64_t kHalf = 1ULL << 63;
    if (fraction - (kHalf - 2) < 4)
        return false;
    n = integer + (fraction >> 63);
    if (n == kTen17) { // 99999999999999999.5 and above round to the next power of ten
        n = kTen16;
        ++x;
    }
    return true;
}

// Writes the "%.17g" text of n * 10^(x - 16) (n of 17 digits) at `out` with trailing zeros of
// the fraction removed, and returns its length. Whole words are stored, some past the returned
// length: `out` needs 40 bytes.
__attribute__((always_inline)) inline std::size_t layoutGeneral(std::uint64_t n, int x,
                                                                char* out) {
    std::uint64_t const upper = n / kTen8; // 9 digits
    auto const lead = static_cast<std::uint32_t>(upper / kTen8);
    std::uint64_t const high = eightDigitValues(static_cast<std::uint32_t>(upper - lead * kTen8));
    std::uint64_t const low = eightDigitValues(static_cast<std::uint32_t>(n - upper * kTen8));
    // Significant digits once the trailing zeros go: digit i sits in byte i, so the zero digits
    // at the end are the zero bytes at the top of the word.
    int used;
    if (low != 0)
        used = 17 - (__builtin_clzll(low) >> 3);
    else if (high != 0)
        used = 9 - (__builtin_clzll(high) >> 3);
    else
        used = 1;
    char const leadChar = static_cast<char>('0' + lead);
    std::uint64_t const highText = high + kAsciiZeros;
    std::uint64_t const lowText = low + kAsciiZeros;
    if (x < 0 && x >= -4) {
        // 0.000ddd: the digits follow 1 - x characters of "0.0000".
        std::memcpy(out, "0.000000", 8);
        char* const digits = out + 1 - x;
        digits[0] = leadChar;
        std::memcpy(digits + 1, &highText, 8);
        std::memcpy(digits + 9, &lowText, 8);
        return static_cast<std::size_t>(1 - x + used);
    }
    if (x >= 0 && x < 17) {
        // ddd.ddd: the 17 digits, then from the point on the digits after the first x + 1 again,
        // one place further. Both come from registers: no store is read back.
        int const whole = x + 1;
        out[0] = leadChar;
        std::memcpy(out + 1, &highText, 8);
        std::memcpy(out + 9, &lowText, 8);
        u128 const rest = (static_cast<u128>(lowText) << 64 | highText) >> (8 * (x < 16 ? x : 15));
        out[whole] = '.';
        std::memcpy(out + whole + 1, &rest, 16); // at x = 16 only bytes past the end change
        return static_cast<std::size_t>(used > whole ? used + 1 : whole);
    }
    out[0] = leadChar;
    out[1] = '.';
    std::memcpy(out + 2, &highText, 8);
    std::memcpy(out + 10, &lowText, 8);
    char* p = out + (used > 1 ? used + 1 : 1);
    p[0] = 'e';
    p[1] = x < 0 ? '-' : '+';
    unsigned ax = static_cast<unsigned>(x < 0 ? -x : x);
    p += 2;
    if (ax >= 100) {
        *p++ = static_cast<char>('0' + ax / 100);
        ax %= 100;
    }
    std::memcpy(p, kDigitPairs + 2 * ax, 2);
    return static_cast<std::size_t>(p + 2 - out);
}

// A "C" locale object for strtod_l: number text never depends on the process locale, and the
// process locale is never touched.
locale_t cLocale() {
    static locale_t const loc = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
    return loc;
}

double strtodC(char const* text, char** end) {
    locale_t loc = cLocale();
    if (loc != static_cast<locale_t>(nullptr))
        return strtod_l(text, end, loc);
    return std::strtod(text, end);
}

} // namespace

std::size_t Double::formatFinite(double value, char* buf) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    std::uint64_t digits;
    int exponent;
    if (__builtin_expect(seventeenDigits(bits, digits, exponent), 1)) {
        std::size_t const sign = bits >> 63;
        buf[0] = '-';
        return sign + layoutGeneral(digits, exponent, buf + sign);
    }
    // std::to_chars with a precision is defined as printf's conversion in the "C" locale.
    auto result = std::to_chars(buf, buf + 48, value, std::chars_format::general, 17);
    return static_cast<std::size_t>(result.ptr - buf);
}

void Double::toString(std::string& out) const {
    if (value_ == 0.0) {
        out += "0.0";
    } else if (std::isnan(value_)) {
        out += "nan";
    } else if (std::isinf(value_)) {
        out += value_ < 0 ? "-inf" : "inf";
    } else {
        char buf[48];
        out.append(buf, formatFinite(value_, buf));
    }
}

std::string Double::toString() const {
    std::string out;
    toString(out);
    return out;
}

double Double::strToDouble(char const* text, bool* ok) {
    if (text == nullptr) {
        if (ok)
            *ok = false;
        return 0.0;
    }
    char* end = nullptr;
    double d = strtodC(text, &end);
    if (ok)
        *ok = (*end == '\0');
    return d;
}

bool Double::parseNumberText(char const* first, char const* last, double& out) {
    auto result = std::from_chars(first, last, out, std::chars_format::general);
    if (result.ec == std::errc() && result.ptr == last)
        return true;
    if (result.ec != std::errc::result_out_of_range)
        return false;
    // from_chars reports overflow and underflow as errors where strtod gives infinity or zero;
    // those rare texts go through strtod itself.
    std::string text(first, last);
    char* end = nullptr;
    out = strtodC(text.c_str(), &end);
    return end == text.c_str() + text.size();
}

} // namespace pocketjson
