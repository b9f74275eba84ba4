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

} // namespace pocketjson::detail
