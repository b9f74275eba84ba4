// Double: "%.17g" text equal to the C library's, and strtod-compatible reading, in any locale.
#include "json/number_text.h"
#include "json_test_util.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>
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
