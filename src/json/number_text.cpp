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

using detail::kDigitPairs;
using detail::writeEightDigits;

constexpr std::uint64_t kTen16 = 10000000000000000ULL;
constexpr std::uint64_t kTen17 = 100000000000000000ULL;

// The 17 significant digits of a positive finite double, correctly rounded as printf rounds
// them: value = digits * 10^(exponent - 16). The value times a power of ten is computed from a
// 128-bit truncated significand; the truncation error is below 2^53 units of the fraction, so
// the rounding is exact unless the fraction lies within that distance of one half. Those rare
// cases (and exact ties) report false and are left to the C library's algorithm.
bool seventeenDigits(double value, std::uint64_t& digits, int& exponent) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    std::uint64_t m = bits & ((1ULL << 52) - 1);
    int const biased = static_cast<int>((bits >> 52) & 0x7FF);
    int e;
    if (biased == 0) {
        e = -1074;
    } else {
        m |= 1ULL << 52;
        e = biased - 1075;
    }
    int const log2 = e + 63 - __builtin_clzll(m);
    // floor(log2 * log10(2)); exact over the double range. The true decimal exponent is this
    // or one more.
    int k = (log2 * 78913) >> 18;
    int const q = 16 - k;
    if (q < kPow10Min || q > kPow10Max)
        return false;
    Pow10 const& p = kPow10[q - kPow10Min];
    u128 const lowProduct = static_cast<u128>(m) * p.low;
    u128 const highProduct = static_cast<u128>(m) * p.high;
    u128 const middle = (lowProduct >> 64) + static_cast<std::uint64_t>(highProduct);
    // Top 128 bits of the 192-bit product. With the dropped low word and the table's truncation,
    // the true value lies in [top, top + 2) units of its last bit.
    u128 const top =
        ((highProduct >> 64) + (middle >> 64)) << 64 | static_cast<std::uint64_t>(middle);
    int const shift = -(e + p.exponent) - 64; // bits of `top` below the integer part
    if (shift < 2 || shift > 64)
        return false;
    std::uint64_t integer = static_cast<std::uint64_t>(top >> shift);
    u128 const mask = (static_cast<u128>(1) << shift) - 1;
    u128 const fraction = top & mask;
    u128 const half = static_cast<u128>(1) << (shift - 1);
    bool roundUp;
    if (integer >= kTen17) {
        // One digit too many: the decimal exponent was one more than estimated.
        unsigned const last = static_cast<unsigned>(integer % 10);
        integer /= 10;
        ++k;
        if ((last == 5 && fraction == 0) || (last == 4 && fraction == mask))
            return false;
        roundUp = last > 5 || (last == 5 && fraction != 0);
    } else {
        if (fraction == half || fraction + 1 == half)
            return false;
        roundUp = fraction > half;
    }
    std::uint64_t n = integer + (roundUp ? 1 : 0);
    if (n == kTen17) {
        n = kTen16;
        ++k;
    }
    if (n < kTen16)
        return false;
    digits = n;
    exponent = k;
    return true;
}

// "%.17g" layout of 17 significant digits with decimal exponent x, trailing zeros removed. Copies
// have fixed sizes (so they compile to a few moves); `out` needs 40 bytes.
std::size_t layoutGeneral(std::uint64_t n, int x, char* out) {
    char d[40] = {};
    std::uint64_t const head = n / 100000000; // 9 digits
    d[0] = static_cast<char>('0' + head / 100000000);
    writeEightDigits(static_cast<std::uint32_t>(head % 100000000), d + 1);
    writeEightDigits(static_cast<std::uint32_t>(n % 100000000), d + 9);
    int used = 17;
    while (used > 1 && d[used - 1] == '0')
        --used;
    if (x >= 0 && x < 17) {
        int const whole = x + 1;
        std::memcpy(out, d, 17);
        out[whole] = '.';
        std::memcpy(out + whole + 1, d + whole, 16);
        return static_cast<std::size_t>(used > whole ? used + 1 : whole);
    }
    if (x < 0 && x >= -4) {
        std::memcpy(out, "0.000", 5);
        std::memcpy(out + 1 - x, d, 17);
        return static_cast<std::size_t>(1 - x + used);
    }
    out[0] = d[0];
    out[1] = '.';
    std::memcpy(out + 2, d + 1, 16);
    char* p = out + (used > 1 ? used + 1 : 1);
    *p++ = 'e';
    *p++ = x < 0 ? '-' : '+';
    unsigned ax = static_cast<unsigned>(x < 0 ? -x : x);
    if (ax >= 100) {
        *p++ = static_cast<char>('0' + ax / 100);
        ax %= 100;
    }
    std::memcpy(p, kDigitPairs + 2 * ax, 2);
    p += 2;
    return static_cast<std::size_t>(p - out);
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
    std::uint64_t digits = 0;
    int exponent = 0;
    if (seventeenDigits(std::fabs(value), digits, exponent)) {
        std::size_t sign = 0;
        if (std::signbit(value))
            buf[sign++] = '-';
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
