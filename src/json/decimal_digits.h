// Decimal digit writing shared by the integer and double text of pocketjson (internal).
#pragma once

#include <cstdint>
#include <cstring>

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

} // namespace pocketjson::detail
