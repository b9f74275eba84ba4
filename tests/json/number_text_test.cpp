// Double: "%.17g" text equal to the C library's, and strtod-compatible reading, in any locale.
#include "json/number_text.h"
#include "json/decimal_digits.h"
#include "json/serializer.h"
#include "json_test_util.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pocketjson {
namespace {

std::string printfText(double d) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17g", d);
    return buf;
}

std::string formatted(double d) {
    char buf[48];
    return std::string(buf, Double::formatFinite(d, buf));
}

TEST(DoubleText, MatchesPrintfForEdgeValues) {
    double const values[] = {
        0.1, 0.5, 1.0, -1.0, 59.94, 1e15, 1e16, 1e17, 123456789012345678.0, 1e21, 1e22, 1e-4,
        1e-5, 9.9999999999999995e-5, 0.00012345, 5e-324, 2.2250738585072014e-308,
        2.2250738585072009e-308, 1.7976931348623157e308, 9007199254740993.0, 0.3,
        2.5, 1.0 / 3, -65.613616999999977, 4503599627370495.5, 9.999999999999999e22,
        99999999999999999.0, 0.99999999999999989,
    };
    for (double v : values) {
        EXPECT_EQ(formatted(v), printfText(v)) << std::hexfloat << v;
        EXPECT_EQ(formatted(-v), printfText(-v)) << std::hexfloat << -v;
    }
}

TEST(DoubleText, MatchesPrintfForRandomBitPatterns) {
    std::mt19937_64 random(20261121);
    int checked = 0;
    for (int i = 0; i < 200000; ++i) {
        std::uint64_t bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        if (!std::isfinite(d) || d == 0.0)
            continue;
        ASSERT_EQ(formatted(d), printfText(d)) << std::hexfloat << d;
        ++checked;
    }
    std::uniform_real_distribution<double> coordinates(-180.0, 180.0);
    for (int i = 0; i < 100000; ++i, ++checked) {
        double d = coordinates(random);
        ASSERT_EQ(formatted(d), printfText(d)) << std::hexfloat << d;
    }
    EXPECT_GT(checked, 250000);
}

std::string toCharsText(double d) {
    char buf[64];
    auto const result = std::to_chars(buf, buf + sizeof buf, d, std::chars_format::general, 17);
    return std::string(buf, result.ptr);
}

// The values a gamma answer holds: identity and power-curve ramps of 256 entries, scaled.
std::vector<double> rampValues() {
    std::vector<double> values;
    for (double exponent : {1.0, 1.8, 2.2, 2.4, 1.0 / 2.2, 1.0 / 2.4}) {
        for (int i = 0; i < 256; ++i) {
            double const x = i / 255.0;
            values.push_back(std::pow(x, exponent));
            values.push_back(std::pow(x, exponent) * 65535.0);
        }
    }
    return values;
}

// The number text has three writers that must agree byte for byte: printf's "%.17g",
// std::to_chars in general form with precision 17 (the library's fallback near rounding ties),
// and the library's own. Zero keeps its own text, "0.0", which neither of the others writes.
TEST(DoubleText, ToCharsPrintfAndLibraryAgreeOnEveryValue) {
    std::vector<double> values = rampValues();
    double const edges[] = {
        0.1, 0.5, 1.0, 59.94, 1e15, 1e16, 1e17, 1e21, 1e22, 1e-4, 1e-5, 9.9999999999999995e-5,
        5e-324, 2.2250738585072014e-308, 2.2250738585072009e-308, 1.7976931348623157e308,
        9007199254740993.0, 4503599627370495.5, 99999999999999999.0, 0.99999999999999989,
        123456789012345678.0, 0.30000000000000004, 1.0 / 3,
    };
    for (double e : edges) {
        values.push_back(e);
        values.push_back(-e);
        values.push_back(std::nextafter(e, 0.0));
        values.push_back(std::nextafter(e, HUGE_VAL));
    }
    std::mt19937_64 random(20261126);
    for (int i = 0; i < 300000; ++i) {
        std::uint64_t const bits = random();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        if (std::isfinite(d) && d != 0.0)
            values.push_back(d);
    }
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 100000; ++i)
        values.push_back(unit(random));
    for (double d : values) {
        std::string const printed = printfText(d);
        ASSERT_EQ(toCharsText(d), printed) << std::hexfloat << d;
        ASSERT_EQ(Double(d).toString(), d == 0.0 ? "0.0" : printed) << std::hexfloat << d;
    }
    EXPECT_GT(values.size(), 400000u);
    EXPECT_EQ(Double(0.0).toString(), "0.0");
    EXPECT_EQ(toCharsText(0.0), "0");
    EXPECT_EQ(printfText(0.0), "0");
}

// The values nearest to `d` on both sides, `steps` of them each way, and `d` itself.
void addNeighbours(std::vector<double>& values, double d, int steps) {
    values.push_back(d);
    double below = d;
    double above = d;
    for (int i = 0; i < steps; ++i) {
        below = std::nextafter(below, -HUGE_VAL);
        above = std::nextafter(above, HUGE_VAL);
        values.push_back(below);
        values.push_back(above);
    }
}

double fromText(char const* text) { return std::strtod(text, nullptr); }

// Groups of values that between them take every path of the writer: each group is compared with
// printf through both entry points (the number writer and the serializer's runs of doubles), for
// the values and their negations.
struct ValueGroup {
    char const* name;
    std::function<void(std::vector<double>&)> fill;
};

std::vector<ValueGroup> const& writerPathGroups() {
    static std::vector<ValueGroup> const groups = {
        {"powers of ten, 1e-323 to 1e308, and their neighbours",
         [](std::vector<double>& v) {
             for (int j = -323; j <= 308; ++j) {
                 std::string const text = "1e" + std::to_string(j);
                 addNeighbours(v, fromText(text.c_str()), 2);
             }
         }},
        {"powers of two over the whole exponent range and their neighbours",
         [](std::vector<double>& v) {
             for (int e = -1074; e <= 1023; ++e)
                 addNeighbours(v, std::ldexp(1.0, e), 1);
         }},
        {"subnormals: the smallest, the largest, and spread between",
         [](std::vector<double>& v) {
             std::uint64_t const top = std::uint64_t{1} << 52; // the smallest normal
             for (std::uint64_t m = 1; m < 2000; ++m) {
                 for (std::uint64_t bits : {m, top - m, m * std::uint64_t{2251799813685}}) {
                     double d;
                     std::memcpy(&d, &bits, sizeof d);
                     v.push_back(d);
                 }
             }
         }},
        {"the switch between fixed and exponent form at 1e-4 and 1e17",
         [](std::vector<double>& v) {
             for (double d : {1e-4, 1e-5, 9.99999999999999912e-5, 1e16, 1e17, 99999999999999984.0,
                              0.001, 0.01, 0.1, 1.0, 10.0})
                 addNeighbours(v, d, 40);
         }},
        {"the neighbourhood of 2^53 and 2^52",
         [](std::vector<double>& v) {
             addNeighbours(v, 9007199254740992.0, 20);
             addNeighbours(v, 4503599627370496.0, 20);
         }},
        {"integers, halves and short decimals (trailing zeros dropped)",
         [](std::vector<double>& v) {
             for (int i = 1; i <= 20000; ++i) {
                 v.push_back(i);
                 v.push_back(i / 8.0);
                 v.push_back(i / 1000.0);
                 v.push_back(i * 1e15);
             }
         }},
        {"digits that round up into the next power of ten",
         [](std::vector<double>& v) {
             for (int j = -300; j <= 308; ++j) {
                 std::string const text = "9.99999999999999999e" + std::to_string(j);
                 addNeighbours(v, fromText(text.c_str()), 3);
             }
         }},
        {"decimals with a 5 in the 18th digit, near a rounding tie",
         [](std::vector<double>& v) {
             std::mt19937_64 random(20261125);
             for (int i = 0; i < 20000; ++i) {
                 std::uint64_t const digits =
                     100000000000000000ULL + random() % 900000000000000000ULL;
                 std::string const text = std::to_string(digits / 10 * 10 + 5) + "e" +
                                          std::to_string(static_cast<int>(random() % 600) - 300);
                 addNeighbours(v, fromText(text.c_str()), 1);
             }
         }},
        {"exact ties m * 2^-n (printf breaks them to even)",
         [](std::vector<double>& v) {
             for (int m = 1; m < 256; m += 2)
                 for (int n = 1; n < 80; ++n)
                     v.push_back(std::ldexp(m, -n));
         }},
    };
    return groups;
}

TEST(DoubleText, EveryPathOfTheWriterMatchesPrintf) {
    for (ValueGroup const& group : writerPathGroups()) {
        std::vector<double> values;
        group.fill(values);
        Value array(Type::Array);
        std::string expected = "[";
        for (double d : values) {
            if (!std::isfinite(d) || d == 0.0) // neighbours of the extremes; zero has its own text
                continue;
            for (double signed_ : {d, -d}) {
                std::string const printed = printfText(signed_);
                ASSERT_EQ(formatted(signed_), printed)
                    << group.name << ": " << std::hexfloat << signed_;
                array.push_back(Value(signed_));
                expected += printed;
                expected += ',';
            }
        }
        ASSERT_GT(array.size(), 100u) << group.name;
        expected.back() = ']';
        std::string const written = test::compact(array);
        auto const differ = std::mismatch(written.begin(), written.end(), expected.begin(),
                                          expected.end());
        EXPECT_TRUE(differ.first == written.end() && differ.second == expected.end())
            << group.name << ": serialized array differs at offset "
            << (differ.first - written.begin()) << ", near \""
            << written.substr(static_cast<std::size_t>(differ.first - written.begin()), 40)
            << "\"";
    }
}

// True for "1", "100", "0.001", "1e+23" and the like.
bool isPowerOfTenText(std::string const& text) {
    std::string digits;
    for (char c : text.substr(0, text.find('e')))
        if (c != '.' && c != '-')
            digits += c;
    std::size_t const first = digits.find_first_not_of('0');
    return first != std::string::npos && digits[first] == '1' &&
           digits.find_first_not_of('0', first + 1) == std::string::npos;
}

// The writer's own fast path leaves the values within a rounding error of a tie to the C
// library's algorithm, and carries 99999999999999999.5 up to the next power of ten itself.
// Both paths must be reached by the groups above, or they would go untested.
TEST(DoubleText, TiesAndCarriesAreAmongTheCheckedValues) {
    int leftToLibrary = 0;
    int carried = 0;
    for (ValueGroup const& group : writerPathGroups()) {
        std::vector<double> values;
        group.fill(values);
        for (double d : values) {
            if (!std::isfinite(d) || d == 0.0)
                continue;
            char buf[48];
            std::size_t const length = detail::writeSeventeenDigits(d, buf);
            if (length == 0) {
                ++leftToLibrary;
                continue;
            }
            // A carry: the value's first 17 significant digits are all nines, and rounding
            // makes them a power of ten.
            char longer[64];
            std::snprintf(longer, sizeof longer, "%.25e", d);
            if (std::strncmp(longer, "9.9999999999999999", 18) == 0 &&
                isPowerOfTenText(std::string(buf, length)))
                ++carried;
        }
    }
    EXPECT_GT(leftToLibrary, 100);
    EXPECT_GT(carried, 10);
}

// The word-wise digit split the writer uses where no vector unit is available.
TEST(DigitLanes, EightDigitValuesHoldTheDigitsInWritingOrder) {
    std::vector<std::uint32_t> values = {0, 1, 9, 10, 99, 100, 9999, 10000, 99999999};
    for (std::uint32_t p = 1; p < 100000000; p *= 10) {
        for (std::uint32_t v : {p - 1, p, p + 1, 2 * p - 1, 9 * p, 10 * p - 1})
            values.push_back(v);
    }
    std::mt19937 random(8);
    for (int i = 0; i < 200000; ++i)
        values.push_back(static_cast<std::uint32_t>(random() % 100000000));
    for (std::uint32_t v : values) {
        if (v >= 100000000)
            continue;
        std::uint64_t const word = detail::eightDigitValues(v) + detail::kAsciiZeros;
        char text[8];
        std::memcpy(text, &word, 8);
        char expected[16];
        std::snprintf(expected, sizeof expected, "%08u", v);
        ASSERT_EQ(std::string(text, 8), expected) << v;
    }
}

TEST(DoubleText, SpecialValuesAndZero) {
    EXPECT_EQ(Double(0.0).toString(), "0.0");
    EXPECT_EQ(Double(-0.0).toString(), "0.0");
    EXPECT_EQ(Double(std::nan("")).toString(), "nan");
    EXPECT_EQ(Double(std::numeric_limits<double>::infinity()).toString(), "inf");
    EXPECT_EQ(Double(-std::numeric_limits<double>::infinity()).toString(), "-inf");
    std::string out = "x=";
    Double(0.25).toString(out);
    EXPECT_EQ(out, "x=0.25");
}

TEST(DoubleRead, StrToDoubleReportsWholeTextConsumption) {
    struct Case {
        char const* text;
        double value;
        bool ok;
    } const cases[] = {
        {"1.5", 1.5, true},          {"-2e3", -2000.0, true},   {"  7", 7.0, true},
        {"0x10", 16.0, true},        {"1.5x", 1.5, false},      {"abc", 0.0, false},
        {"1,5", 1.0, false},         {"1e400", HUGE_VAL, true}, {"-1e400", -HUGE_VAL, true},
        {"1e-400", 0.0, true},
    };
    for (auto const& c : cases) {
        bool ok = !c.ok;
        EXPECT_EQ(Double::strToDouble(c.text, &ok), c.value) << c.text;
        EXPECT_EQ(ok, c.ok) << c.text;
    }
    bool ok = true;
    EXPECT_EQ(Double::strToDouble(nullptr, &ok), 0.0);
    EXPECT_FALSE(ok);
}

TEST(DoubleRead, NumberTextOutOfRangeBecomesInfinityOrZero) {
    struct Case {
        char const* text;
        double value;
    } const cases[] = {
        {"1e309", HUGE_VAL}, {"-1e309", -HUGE_VAL}, {"1e-400", 0.0},
        {"-1e-400", -0.0},   {"4.9e-324", 5e-324},  {"123456789012345678901234567890", 1.2345678901234568e29},
    };
    for (auto const& c : cases) {
        double d = 1.0;
        ASSERT_TRUE(Double::parseNumberText(c.text, c.text + std::strlen(c.text), d)) << c.text;
        EXPECT_EQ(d, c.value) << c.text;
        EXPECT_EQ(std::signbit(d), std::signbit(c.value)) << c.text;
    }
}

TEST(DoubleLocale, CommaLocaleChangesNothingAndIsLeftAsItWas) {
    std::string const before = std::setlocale(LC_ALL, nullptr);
    {
        test::CommaLocaleScope scope;
        ASSERT_TRUE(scope.available()) << "de_DE.UTF-8 is missing: run scripts/bootstrap";
        EXPECT_EQ(Double(1.5).toString(), "1.5");
        EXPECT_EQ(formatted(-65.613616999999977), "-65.613616999999977");
        bool ok = false;
        EXPECT_EQ(Double::strToDouble("1.5", &ok), 1.5);
        EXPECT_TRUE(ok);
        EXPECT_EQ(Double::strToDouble("1,5", &ok), 1.0); // as in the C locale
        EXPECT_FALSE(ok);
    }
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

} // namespace
} // namespace pocketjson
