// Decimal digit writing shared by the integer and double text of pocketjson (internal).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace pocketjson::detail {

// "00" to "99": two digits per entry.
inline constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Writes exactly eight digits of n (< 10^8), with leading zeros.
inline void writeEightDigits(std::uint32_t n, char* out) {
    std::uint32_t const high = n / 10000;
    std::uint32_t const low = n % 10000;
    std::memcpy(out, kDigitPairs + 2 * (high / 100), 2);
    std::memcpy(out + 2, kDigitPairs + 2 * (high % 100), 2);
    std::memcpy(out + 4, kDigitPairs + 2 * (low / 100), 2);
    std::memcpy(out + 6, kDigitPairs + 2 * (low % 100), 2);
}

// The eight decimal digits of n (< 10^8, leading zeros included) as the values 0 to 9 in the
// bytes of a word, most significant digit in the lowest byte: stored little-endian, the word
// reads in writing order, and adding 0x30 to every byte gives the text. The digits are split
// off in parallel lanes (two of four digits, four of two, eight of one); the reciprocal
// multipliers are exact for the lane values: 10486 / 2^20 for x / 100 up to x = 9999,
// 103 / 2^10 for x / 10 up to x = 99, and no lane's product reaches the next lane.
inline std::uint64_t eightDigitValues(std::uint32_t n) {
    std::uint64_t const upper = n / 10000;
    std::uint64_t x = upper | (n - upper * 10000) << 32;
    std::uint64_t const hundreds = ((x * 10486) >> 20) & 0x0000007F0000007FULL;
    x = hundreds | (x - hundreds * 100) << 16;
    std::uint64_t const tens = ((x * 103) >> 10) & 0x000F000F000F000FULL;
    return tens | (x - tens * 10) << 8;
}

inline constexpr std::uint64_t kAsciiZeros = 0x3030303030303030ULL;

struct Pow10 {
    std::uint64_t high;
    std::uint64_t low;
    int exponent;
};

#include "json/pow10_table.inc"

__extension__ typedef unsigned __int128 u128; // GCC and clang both provide it

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
    std::uint64_t const magnitude = bits & ~(1ULL << 63); // ordered as the values of a
    int const k = ((e + 52) * 78913) >> 18; // floor(log2(a) * log10(2)), exact in range
    x = k + (magnitude >= kPow10CeilBits[k + 1 - kPow10CeilMin] ? 1 : 0);
    Pow10 const& p = kPow10[16 - x - kPow10Min];
    // a * 10^q = m * 2^e * P * 2^E (up to P's truncation) = (m << s) * P / 2^128, s in [1, 5].
    int const s = e + p.exponent + 128;
    std::uint64_t const aligned = m << s;
    u128 const lowProduct = static_cast<u128>(aligned) * p.low;
    u128 const highProduct = static_cast<u128>(aligned) * p.high;
    // The middle word with its carry, in 64-bit halves (a 128-bit sum makes GCC spill).
    auto const lowCarry = static_cast<std::uint64_t>(lowProduct >> 64);
    std::uint64_t const fraction = lowCarry + static_cast<std::uint64_t>(highProduct);
    std::uint64_t const integer =
        static_cast<std::uint64_t>(highProduct >> 64) + (fraction < lowCarry ? 1 : 0);
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

// The 16 digits of two numbers below 10^8, `high` first, as the values 0 to 9 in 16 bytes.
struct SixteenDigits {
#if defined(__SSE2__)
    __m128i values;
#else
    std::uint64_t high;
    std::uint64_t low;
#endif
};

#if defined(__SSE2__)
// Both numbers are split at once, in the lanes of a vector: into four numbers of four digits
// (x / 10^4 as x * 0xd1b71759 / 2^45, exact below 10^8), eight of two (x / 100 as x * 5243 /
// 2^19, exact below 10^4) and sixteen of one (x / 10 as x * 6554 / 2^16, exact below 100).
inline SixteenDigits splitDigits(std::uint32_t high, std::uint32_t low) {
    // Lanes of 32 bits: high, 0, low, 0 (both numbers are below 2^27).
    __m128i const x8 = _mm_unpacklo_epi32(
        _mm_cvtsi64_si128(static_cast<long long>(high | static_cast<std::uint64_t>(low) << 32)),
        _mm_setzero_si128());
    __m128i const upper4 =
        _mm_srli_epi64(_mm_mul_epu32(x8, _mm_set1_epi32(static_cast<int>(0xd1b71759))), 45);
    __m128i const lower4 = _mm_sub_epi32(x8, _mm_mul_epu32(upper4, _mm_set1_epi32(10000)));
    __m128i const x4 = _mm_or_si128(upper4, _mm_slli_epi64(lower4, 32));
    __m128i const upper2 = _mm_srli_epi16(_mm_mulhi_epu16(x4, _mm_set1_epi16(5243)), 3);
    // The remainders come from one multiply each: in 32-bit lanes upper2 | (x4 - 100 upper2) << 16
    // is x4 << 16 plus upper2 copied to both halves times {1, -100}; in 16-bit lanes
    // tens | (x2 - 10 tens) << 8 is x2 << 8 minus tens times 2559. The second factor is hidden
    // from the compiler, which would otherwise spell the multiply as a chain of shifts and adds.
    __m128i const upperBoth = _mm_or_si128(upper2, _mm_slli_epi32(upper2, 16));
    __m128i const x2 =
        _mm_add_epi16(_mm_slli_epi32(x4, 16),
                      _mm_mullo_epi16(upperBoth, _mm_set1_epi32(static_cast<int>(0xFF9C0001u))));
    __m128i const tens = _mm_mulhi_epu16(x2, _mm_set1_epi16(6554));
    __m128i factor = _mm_set1_epi16(2559);
    __asm__("" : "+x"(factor));
    return SixteenDigits{_mm_sub_epi16(_mm_slli_epi16(x2, 8), _mm_mullo_epi16(tens, factor))};
}

// Digits left once the trailing zeros go (0 to 16).
inline int significantDigits(SixteenDigits const& d) {
    auto const zeros =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(d.values, _mm_setzero_si128())));
    // Bit i + 1 of `nonzero` is set for each nonzero digit i; bit 0 keeps clz defined. The
    // index of its highest set bit (clz ^ 31, one instruction) is the count.
    unsigned const nonzero = (zeros ^ 0xFFFFu) << 1 | 1u;
    return __builtin_clz(nonzero) ^ 31;
}

inline void storeText(SixteenDigits const& d, char* out) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_add_epi8(d.values, _mm_set1_epi8('0')));
}

// The text of the digits from `skip` (0 to 15) on, in the low bytes of a 16-byte value.
inline u128 textFrom(SixteenDigits const& d, int skip) {
    __m128i const text = _mm_add_epi8(d.values, _mm_set1_epi8('0'));
    auto const low = static_cast<std::uint64_t>(_mm_cvtsi128_si64(text));
    auto const high = static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(text, text)));
    return (static_cast<u128>(high) << 64 | low) >> (8 * skip);
}
#else
inline SixteenDigits splitDigits(std::uint32_t high, std::uint32_t low) {
    return SixteenDigits{eightDigitValues(high), eightDigitValues(low)};
}

inline int significantDigits(SixteenDigits const& d) {
    // Digit i sits in byte i, so the zero digits at the end are the zero bytes at the top.
    if (d.low != 0)
        return 16 - (__builtin_clzll(d.low) >> 3);
    if (d.high != 0)
        return 8 - (__builtin_clzll(d.high) >> 3);
    return 0;
}

inline void storeText(SixteenDigits const& d, char* out) {
    std::uint64_t const high = d.high + kAsciiZeros;
    std::uint64_t const low = d.low + kAsciiZeros;
    std::memcpy(out, &high, 8);
    std::memcpy(out + 8, &low, 8);
}

inline u128 textFrom(SixteenDigits const& d, int skip) {
    return (static_cast<u128>(d.low + kAsciiZeros) << 64 | (d.high + kAsciiZeros)) >> (8 * skip);
}
#endif

// Writes the "%.17g" text of n * 10^(x - 16) (n of 17 digits) at `out` with trailing zeros of
// the fraction removed, and returns its length. Whole words are stored, some past the returned
// length: `out` needs 40 bytes.
inline std::size_t layoutGeneral(std::uint64_t n, int x, char* out) {
    std::uint64_t const upper = n / kTen8; // 9 digits
    auto const lead = static_cast<std::uint32_t>(upper / kTen8);
    SixteenDigits const rest = splitDigits(static_cast<std::uint32_t>(upper - lead * kTen8),
                                           static_cast<std::uint32_t>(n - upper * kTen8));
    int const used = 1 + significantDigits(rest); // the leading digit is never zero
    char const leadChar = static_cast<char>('0' + lead);
    if (x < 0 && x >= -4) {
        // 0.000ddd: the digits follow 1 - x characters of "0.0000".
        std::memcpy(out, "0.000000", 8);
        char* const digits = out + 1 - x;
        digits[0] = leadChar;
        storeText(rest, digits + 1);
        return static_cast<std::size_t>(1 - x + used);
    }
    if (x >= 0 && x < 17) {
        // ddd.ddd: the 17 digits, then from the point on the digits after the first x + 1 again,
        // one place further. Both come from registers: no store is read back.
        int const whole = x + 1;
        out[0] = leadChar;
        storeText(rest, out + 1);
        u128 const tail = textFrom(rest, x < 16 ? x : 15);
        out[whole] = '.';
        std::memcpy(out + whole + 1, &tail, 16); // at x = 16 only bytes past the end change
        return static_cast<std::size_t>(used > whole ? used + 1 : whole);
    }
    out[0] = leadChar;
    out[1] = '.';
    storeText(rest, out + 2);
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

// Writes the "%.17g" text of a finite, non-zero double at `buf` (48 bytes) and returns its
// length, or returns 0 in the rare case that the rounding lies too close to a tie to decide here
// (Double::formatByLibrary then gives the text). Inlined into the serializer's walk.
__attribute__((always_inline)) inline std::size_t writeSeventeenDigits(double value, char* buf) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    std::uint64_t digits;
    int exponent;
    if (__builtin_expect(!seventeenDigits(bits, digits, exponent), 0))
        return 0;
    std::size_t const sign = bits >> 63;
    buf[0] = '-';
    return sign + layoutGeneral(digits, exponent, buf + sign);
}

} // namespace pocketjson::detail
