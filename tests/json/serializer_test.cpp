// Serializer: compact and pretty layout, string escapes, numbers and the nan/inf refusal.
#include "json/serializer.h"
#include "json_test_util.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pocketjson {
namespace {

using test::compact;

Value parsed(char const* text) {
    auto r = test::parseText(text);
    EXPECT_TRUE(r.ok) << text << ": " << r.error;
    return r.value;
}

TEST(SerializerCompact, ObjectsInByteOrderAndScalars) {
    Value v(Type::Object);
    v["b"] = Value(1);
    v["a"] = Value(-5);
    v["B"] = Value(-2.5);
    v["\xC3\xA9"] = Value(1.0);
    v["c"] = Value(Type::Array);
    v["c"].push_back(Value());
    v["c"].push_back(Value(true));
    v["c"].push_back(Value(false));
    v["c"].push_back(Value(Type::Object));
    EXPECT_EQ(compact(v), "{\"B\":-2.5,\"a\":-5,\"b\":1,\"c\":[null,true,false,{}],\"\xC3\xA9\":1}");
}

TEST(SerializerStrings, EscapeTable) {
    struct Case {
        std::string raw;
        char const* written;
    } const cases[] = {
        {"tab\there", "\"tab\\there\""},
        {"quote\" slash/ back\\", "\"quote\\\" slash/ back\\\\\""},
        {"\x1F\x01\x7F", "\"\\u001f\\u0001\\u007f\""},
        {std::string("nul\0byte", 8), "\"nul\\u0000byte\""},
        {"\b\f\n\r", "\"\\b\\f\\n\\r\""},
        {"\x0B\x1B", "\"\\u000b\\u001b\""},
        {"caf\xC3\xA9 \xE2\x82\xAC \xFF\x80", "\"caf\xC3\xA9 \xE2\x82\xAC \xFF\x80\""},
        {"", "\"\""},
        // long runs around an escape exercise the eight-byte scan on both sides
        {"0123456789abcdef\"0123456789abcdef", "\"0123456789abcdef\\\"0123456789abcdef\""},
        {"0123456789abcde\x7F", "\"0123456789abcde\\u007f\""},
    };
    for (auto const& c : cases) {
        std::string out;
        Serializer::serialize_string(out, c.raw);
        EXPECT_EQ(out, c.written);
    }
}

TEST(SerializerStrings, EveryByteRoundTrips) {
    std::string all;
    for (int i = 1; i < 256; ++i)
        all += static_cast<char>(i);
    all += '\0';
    std::string text = compact(Value(all));
    auto back = test::parseText(text);
    ASSERT_TRUE(back.ok) << back.error;
    EXPECT_EQ(back.value.stringValue(), all);
}

TEST(SerializerPretty, IndentsNestedMembers) {
    Value v(Type::Object);
    v["a"].push_back(Value(1));
    SerializeAttributes pretty{true, "  ", "\n"};
    std::string out;
    ASSERT_TRUE(Serializer::serialize(out, v, pretty, 0));
    EXPECT_EQ(out, "{\n  \"a\": [\n    1\n  ]\n}");
}

TEST(SerializerPretty, EmptyContainersStayTwoCharacters) {
    SerializeAttributes pretty{true, "\t", "\n"};
    std::string out;
    ASSERT_TRUE(Serializer::serialize(out, parsed(R"({"a":{},"b":[]})"), pretty, 0));
    EXPECT_EQ(out, "{\n\t\"a\": {},\n\t\"b\": []\n}");
}

TEST(SerializerPretty, NegativeLevelBreaksLinesWithoutIndenting) {
    SerializeAttributes pretty{true, "  ", "\n"};
    std::string out;
    ASSERT_TRUE(Serializer::serialize(out, parsed("[1,[2]]"), pretty, -1));
    EXPECT_EQ(out, "[\n1,\n[\n2\n]\n]");

    std::string indent;
    Serializer::indent(indent, pretty, 3);
    EXPECT_EQ(indent, "\n      ");
}

TEST(SerializerPretty, CompactModeIgnoresLayoutStrings) {
    SerializeAttributes attributes{false, "  ", "\n"};
    std::string out;
    ASSERT_TRUE(Serializer::serialize(out, parsed(R"({"a":[1,2]})"), attributes, 0));
    EXPECT_EQ(out, R"({"a":[1,2]})");
}

TEST(SerializerNumbers, DoublesAsSeventeenDigitsAndZeroAsZeroPointZero) {
    struct Case {
        double value;
        char const* written;
    } const cases[] = {
        {0.1, "0.10000000000000001"},  {100.0, "100"},       {1e21, "1e+21"},
        {59.94, "59.939999999999998"}, {60.0, "60"},         {-2.5, "-2.5"},
        {0.0, "0.0"},                  {-0.0, "0.0"},         {1e-5, "1.0000000000000001e-05"},
        {5e-324, "4.9406564584124654e-324"},
        {1.7976931348623157e308, "1.7976931348623157e+308"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(compact(Value(c.value)), c.written);
}

// Doubles next to each other in an array are written by a loop of their own; the text must be
// what each would give alone, whatever stands before, between and after them.
TEST(SerializerNumbers, RunsOfDoublesInArraysWriteEachAsAlone) {
    struct Case {
        char const* name;
        std::vector<Value> elements;
    } const cases[] = {
        {"doubles only", {Value(0.5), Value(-2.25), Value(1e-7), Value(59.94)}},
        {"a single double", {Value(0.1)}},
        {"zeros inside a run", {Value(1.5), Value(0.0), Value(-0.0), Value(2.5)}},
        {"other types between runs",
         {Value(1.5), Value("s"), Value(2.5), Value(3.5), Value(), Value(7), Value(1e300),
          Value(true)}},
        {"containers between runs",
         {Value(Type::Array), Value(0.25), Value(Type::Object), Value(-0.125), Value(0.0)}},
        {"a run after a non-double and at the end", {Value(1), Value(1e21), Value(5e-324)}},
    };
    for (auto const& c : cases) {
        Value array(Type::Array);
        std::string expected = "[";
        for (Value const& e : c.elements) {
            array.push_back(e);
            expected += compact(e) + ",";
        }
        expected.back() = ']';
        EXPECT_EQ(compact(array), expected) << c.name;
    }
}

TEST(SerializerNumbers, IntegersAtEveryDigitCountBoundary) {
    std::vector<std::int64_t> values = {0, std::numeric_limits<std::int64_t>::max(),
                                        std::numeric_limits<std::int64_t>::min()};
    std::int64_t p = 1; // 10^d, up to 10^18
    for (int d = 0; d < 19; ++d) {
        std::int64_t const nines = d < 18 ? 10 * p - 1 : p;
        for (std::int64_t v : {p - 1, p, p + 1, 2 * p - 1, nines}) {
            values.push_back(v);
            values.push_back(-v);
        }
        if (d < 18)
            p *= 10;
    }
    for (std::int64_t v : values)
        EXPECT_EQ(compact(Value(v)), std::to_string(v));
}

TEST(SerializerNumbers, CommaLocaleStillWritesAPoint) {
    test::CommaLocaleScope scope;
    ASSERT_TRUE(scope.available()) << "de_DE.UTF-8 is missing: run scripts/bootstrap";
    EXPECT_EQ(compact(parsed("[2.5,-0.125]")), "[2.5,-0.125]");
}

TEST(SerializerFailure, NanOrInfinityStopsWithPartialOutput) {
    double const specials[] = {std::nan(""), std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity()};
    for (double special : specials) {
        Value v(Type::Object);
        v["a"] = Value(1);
        v["b"] = Value(special);
        v["c"] = Value(2);
        std::string out = "prefix:";
        std::string error;
        EXPECT_FALSE(Serializer::serialize(out, v, SerializeAttributes(), -1, &error));
        EXPECT_EQ(error, "Floating point is nan or inf.");
        EXPECT_EQ(out, "prefix:{\"a\":1,\"b\":");
        EXPECT_FALSE(Serializer::serialize(out, v)); // no error text pointer is fine
    }
}

TEST(SerializerFailure, NanOrInfinityInARunOfDoublesStopsAfterTheDoublesBeforeIt) {
    struct Case {
        std::vector<double> values;
        char const* written;
    } const cases[] = {
        {{std::nan("")}, "["},
        {{1.5, 2.5, std::numeric_limits<double>::infinity(), 3.5}, "[1.5,2.5,"},
        {{0.0, -std::numeric_limits<double>::infinity()}, "[0.0,"},
        {{0.25, std::nan("")}, "[0.25,"},
    };
    for (auto const& c : cases) {
        Value array(Type::Array);
        for (double d : c.values)
            array.push_back(Value(d));
        array.push_back(Value("after"));
        std::string out;
        std::string error;
        EXPECT_FALSE(Serializer::serialize(out, array, SerializeAttributes(), -1, &error));
        EXPECT_EQ(error, "Floating point is nan or inf.");
        EXPECT_EQ(out, c.written);
    }
}

TEST(SerializerRoundTrip, WrittenTextParsesBackToTheSameText) {
    char const* texts[] = {
        R"({"z":[1,-0.5,1e300,"\u00e9\n"],"a":{"b":[[],{}]},"n":null})",
        R"([9223372036854775807,-9223372036854775807,4.9406564584124654e-324])",
    };
    for (char const* text : texts) {
        std::string once = compact(parsed(text));
        EXPECT_EQ(compact(parsed(once.c_str())), once);
    }
}

} // namespace
} // namespace pocketjson
