// Parser: accepted texts, the eighteen messages, options, numbers, strings and handler events.
#include "json/parser.h"
#include "json_test_util.h"

#include <cmath>
#include <cstdio>
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace pocketjson {
namespace {

using test::compact;
using test::ParseResult;
using test::parseText;

std::string withNul(char const* before, char const* after) {
    std::string s(before);
    s += '\0';
    s += after;
    return s;
}

TEST(ParserAccepts, TextsAndTheValuesTheyGive) {
    struct Case {
        std::string text;
        char const* expected;
    } const cases[] = {
        {"[]", "[]"},
        {"{}", "{}"},
        {" \t\r\n[ 1 , \"a\" , true , false , null ] \n", "[1,\"a\",true,false,null]"},
        {R"({"b":1,"a":{"c":[]}})", R"({"a":{"c":[]},"b":1})"},
        {R"({"a":1,"a":2})", R"({"a":1})"}, // the first of two equal keys is kept
        {"[1,", "[1]"},                    // an array left open after a comma ends the text
        {"[", "[]"},
        {"{", "{}"},
        {R"({"a":1,)", R"({"a":1})"},
        {R"([[1,2],)", "[[1,2]]"},
        {"\xEF\xBB\xBF[1]", "[1]"}, // byte-order mark
        {"\xEF[1]", "[1]"},         // each mark byte is dropped on its own
        {"\xBB\xBF" "7", "7"},
        {withNul("1  ", "x"), "1"}, // a NUL byte ends the text
        {"\"a\\\"\\\\\\/\\b\\f\\n\\r\\t\"", "\"a\\\"\\\\/\\b\\f\\n\\r\\t\""},
        {"\"\\u0041\\u00e9\\u20AC\"", "\"A\xC3\xA9\xE2\x82\xAC\""},
        {"\"\\u0000\"", "\"\\u0000\""},
        {"\"\\ud83d\\ude00\"", "\"\xF0\x9F\x98\x80\""},
        {"\"raw \x01 and \xFF bytes\"", "\"raw \\u0001 and \xFF bytes\""},
    };
    for (auto const& c : cases) {
        auto r = parseText(c.text);
        EXPECT_TRUE(r.ok) << c.text << ": " << r.error;
        EXPECT_EQ(r.error, "") << c.text;
        EXPECT_EQ(compact(r.value), c.expected) << c.text;
    }
}

TEST(ParserRejects, EachFailureWithItsMessage) {
    struct Case {
        std::string text;
        char const* message;
    } const cases[] = {
        {"", "Unexpected character exists while parsing."},
        {"   ", "Unexpected character exists while parsing."},
        {"x", "Unexpected character exists while parsing."},
        {"[1,x]", "Unexpected character exists while parsing."},
        {"[1, ", "Unexpected character exists while parsing."},
        {"tru", "Invalid boolean type string exists."},
        {"fals e", "Invalid boolean type string exists."},
        {"nul", "Invalid null type string exists."},
        {"[nulL]", "Invalid null type string exists."},
        {"01", "Unexpected '0' character is found while parsing number."},
        {"-01", "Unexpected '0' character is found while parsing number."},
        {"-", "Digit is not found while parsing number."},
        {"-a", "Digit is not found while parsing number."},
        {"1.", "Digit is not found after the decimal point while parsing number."},
        {"1.e5", "Digit is not found after the decimal point while parsing number."},
        {"1e", "Digit is not found after exponent keyword while parsing number."},
        {"1E+", "Digit is not found after exponent keyword while parsing number."},
        {"\"abc", "Expected string ending character '\"' is not found."},
        {"\"abc\\", "Unexpected escape character is found while parsing string."},
        {"\"\\x\"", "Unexpected escape character is found while parsing string."},
        {"\"\\u12\"", "Invalid unicode hex string is found while parsing string."},
        {"\"\\u12G4\"", "Invalid unicode hex string is found while parsing string."},
        {"\"\\ud83d\"", "Invalid unicode surrogate pair is found while parsing string."},
        {"\"\\ud83dx\"", "Invalid unicode surrogate pair is found while parsing string."},
        {"\"\\ud83d\\u0041\"", "Invalid unicode surrogate pair is found while parsing string."},
        {"\"\\ud83d\\uzzzz\"", "Invalid unicode hex string is found while parsing string."},
        {"[1,]", "Unexpected comma exists while parsing array."},
        {"[1", "Unexpected string exists while parsing array."},
        {"[1,2", "Unexpected string exists while parsing array."},
        {"[1 2]", "Unexpected string exists while parsing array."},
        {"[[", "Unexpected string exists while parsing array."},
        {"{\"a\":[", "Unexpected string exists while parsing object."},
        {"{\"a\":1,}", "Unexpected comma exists while parsing object."},
        {"{1:2}", "Unexpected string exists while parsing object."},
        {"{\"a\" 1}", "Unexpected string exists while parsing object."},
        {"{\"a\"", "Unexpected string exists while parsing object."},
        {"{\"a\":1 \"b\":2}", "Unexpected string exists while parsing object."},
        {"{\"a\":1", "Unexpected string exists while parsing object."},
        {"1 x", "Gabage string exists after json string."},
        {"truex", "Gabage string exists after json string."},
        {"[1] ]", "Gabage string exists after json string."},
    };
    for (auto const& c : cases) {
        auto r = parseText(c.text);
        EXPECT_FALSE(r.ok) << c.text;
        EXPECT_EQ(r.error, c.message) << c.text;
    }
}

TEST(ParserOptions, TrailingCommaAndGarbageBits) {
    EXPECT_FALSE(parseText("[1,]").ok);
    auto array = parseText("[1,]", kParseAllowTrailingComma);
    EXPECT_TRUE(array.ok);
    EXPECT_EQ(compact(array.value), "[1]");
    auto object = parseText("{\"a\":[2 ,  ],}", kParseAllowTrailingComma);
    EXPECT_TRUE(object.ok);
    EXPECT_EQ(compact(object.value), "{\"a\":[2]}");
    EXPECT_FALSE(parseText("[,]", kParseAllowTrailingComma).ok); // a comma needs an element

    EXPECT_FALSE(parseText("{} {}").ok);
    auto garbage = parseText("{\"a\":1} trailing", kParseAllowGarbage);
    EXPECT_TRUE(garbage.ok);
    EXPECT_EQ(compact(garbage.value), "{\"a\":1}");
    EXPECT_EQ(kParseAllowTrailingComma, 1u);
    EXPECT_EQ(kParseAllowGarbage, 2u);
}

TEST(ParserNumbers, IntegerOrDoubleAndTheirValues) {
    struct Case {
        char const* text;
        Type type;
        char const* written;
    } const cases[] = {
        {"0", Type::Integer, "0"},
        {"-0", Type::Integer, "0"},
        {"0.0", Type::Double, "0.0"},
        {"-0.0", Type::Double, "0.0"},
        {"1e2", Type::Double, "100"},
        {"1E+2", Type::Double, "100"},
        {"1e0", Type::Integer, "1"},
        {"7E-00", Type::Integer, "7"},
        {"1.5e0", Type::Double, "1.5"},
        {"-12.5e-1", Type::Double, "-1.25"},
        {"1e400", Type::Double, nullptr}, // infinity: parses, cannot be written
        {"1e-400", Type::Double, "0.0"},
        {"9223372036854775807", Type::Integer, "9223372036854775807"},
        {"-9223372036854775807", Type::Integer, "-9223372036854775807"},
        {"9223372036854775808", Type::Double, "9.2233720368547758e+18"},
        {"-9223372036854775808", Type::Double, "-9.2233720368547758e+18"},
        {"9223372036854775817", Type::Integer, "-9223372036854775799"}, // wraps silently
        {"100000000000000000000", Type::Integer, "7766279631452241920"}, // wraps silently
        {"92233720368547758090", Type::Double, "9.2233720368547758e+19"},
        {"1e4294967296", Type::Integer, "1"},   // the 32-bit exponent wraps to zero
        {"2.5e4294967296", Type::Double, "2.5"}, // and is cut off the text
    };
    for (auto const& c : cases) {
        auto r = parseText(c.text);
        ASSERT_TRUE(r.ok) << c.text << ": " << r.error;
        EXPECT_EQ(r.value.type(), c.type) << c.text;
        if (c.written)
            EXPECT_EQ(compact(r.value), c.written) << c.text;
        else
            EXPECT_TRUE(std::isinf(r.value.toDouble(0.0))) << c.text;
    }
}

TEST(ParserNumbers, CommaLocaleDoesNotChangeValues) {
    test::CommaLocaleScope scope;
    ASSERT_TRUE(scope.available()) << "de_DE.UTF-8 is missing: run scripts/bootstrap";
    char buf[16];
    std::snprintf(buf, sizeof buf, "%.1f", 1.5);
    ASSERT_STREQ(buf, "1,5"); // the locale really is in effect
    auto r = parseText("[1.5, 2.5e-3, 1e400]");
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.value[0ul].toDouble(0.0), 1.5);
    EXPECT_EQ(r.value[1ul].toDouble(0.0), 0.0025);
    EXPECT_TRUE(std::isinf(r.value[2ul].toDouble(0.0)));
}

TEST(ParserStrings, LoneLowSurrogateStopsWithoutMessage) {
    // The routine fails, but no message is set, so the whole-text parse reports success with
    // what had been finished before it.
    auto r = parseText("[1, \"a\\ude00\", 3]");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.error, "");
    EXPECT_EQ(compact(r.value), "[1]");

    Parser parser;
    std::string text = "\"\\udc00\"";
    Parser::Iterator it{text.data(), text.data() + text.size()};
    std::string out;
    EXPECT_FALSE(parser.parse_string(it, out));
    EXPECT_EQ(parser.error(), "");

    auto garbage = parseText("\"\\ude00\" trailing"); // no garbage check after it either
    EXPECT_TRUE(garbage.ok);
}

TEST(ParserRoutines, PositionStopsRightAfterTheValue) {
    Parser parser;
    std::string text = "  -12.5e1, rest";
    Parser::Iterator it{text.data(), text.data() + text.size()};
    Value v;
    ASSERT_TRUE(parser.parse_value(&v, nullptr, it, 0));
    EXPECT_EQ(v.toDouble(0.0), -125.0);
    EXPECT_EQ(std::string(it.current), ", rest");

    std::string hex = "00e9";
    Parser::Iterator hexIt{hex.data(), hex.data() + hex.size()};
    unsigned short unit = 0;
    ASSERT_TRUE(parser.parse_hex(hexIt, unit));
    EXPECT_EQ(unit, 0xE9);
    EXPECT_EQ(hexIt.current, hex.data() + 4);
}

TEST(ParserTarget, ExistingArrayIsAppendedToAndObjectKeepsItsKeys) {
    Parser parser;
    Value array(Type::Array);
    array.push_back(Value(0));
    Value alias = array;
    ASSERT_TRUE(parser.parse("[1,2]", array));
    EXPECT_EQ(compact(array), "[0,1,2]");
    EXPECT_EQ(compact(alias), "[0,1,2]"); // appended in place, like push_back

    Value object(Type::Object);
    object["a"] = Value("old");
    ASSERT_TRUE(parser.parse(R"({"a":"new","b":1})", object));
    EXPECT_EQ(compact(object), R"({"a":"old","b":1})");

    Value scalar(5);
    ASSERT_TRUE(parser.parse("[true]", scalar));
    EXPECT_EQ(compact(scalar), "[true]");
}

TEST(ParserTarget, ParserIsReusableAfterAFailure) {
    Parser parser;
    Value v;
    EXPECT_FALSE(parser.parse("[1,{\"a\":[2,", v));
    EXPECT_FALSE(parser.error().empty());
    Value w;
    EXPECT_TRUE(parser.parse("{\"k\":[1,{\"z\":2}]}", w));
    EXPECT_EQ(parser.error(), "");
    EXPECT_EQ(compact(w), "{\"k\":[1,{\"z\":2}]}");
}

// Records events as text, optionally refusing at a given event.
class RecordingHandler : public AbstractParseHandler {
public:
    explicit RecordingHandler(int refuseAt = -1) : refuseAt_(refuseAt) {}
    std::vector<std::string> events;

    bool onNull() override { return add("null"); }
    bool onBoolean(bool const& v) override { return add(v ? "true" : "false"); }
    bool onInteger(std::int64_t const& v) override { return add("int " + std::to_string(v)); }
    bool onDouble(double const& v) override { return add("double " + Double(v).toString()); }
    bool onString(std::string const& v) override { return add("string " + v); }
    bool onStartArray() override { return add("["); }
    bool onEndArray(std::uint64_t const& n) override { return add("] " + std::to_string(n)); }
    bool onStartObject() override { return add("{"); }
    bool onKey(std::string const& k) override { return add("key " + k); }
    bool onEndObject(std::uint64_t const& n) override { return add("} " + std::to_string(n)); }

private:
    bool add(std::string e) {
        events.push_back(std::move(e));
        return static_cast<int>(events.size()) - 1 != refuseAt_;
    }
    int refuseAt_;
};

TEST(ParserHandler, ReceivesEventsInDocumentOrder) {
    std::string text = R"({"b":[1,2.5,"s",true,null],"a":{},"b":false})";
    RecordingHandler handler;
    Parser parser;
    ASSERT_TRUE(parser.parse(text.data(), text.size(), handler));
    std::vector<std::string> const expected = {
        "{",       "key b",   "[",  "int 1",   "double 2.5", "string s", "true", "null", "] 5",
        "key a",   "{",       "} 0", "key b", "false",      "} 3",
    };
    EXPECT_EQ(handler.events, expected);
}

TEST(ParserHandler, OpenContainerAtEndGetsNoEndEvent) {
    std::string text = "[1,";
    RecordingHandler handler;
    Parser parser;
    ASSERT_TRUE(parser.parse(text.data(), text.size(), handler));
    EXPECT_EQ(handler.events, (std::vector<std::string>{"[", "int 1"}));
}

TEST(ParserHandler, RefusalCancelsWithItsMessage) {
    std::string text = R"([{"k":"v"},3])";
    for (int refuseAt = 0; refuseAt < 7; ++refuseAt) {
        RecordingHandler handler(refuseAt);
        Parser parser;
        EXPECT_FALSE(parser.parse(text.data(), text.size(), handler)) << refuseAt;
        EXPECT_EQ(parser.error(), "SAX handler cancels parsing.") << refuseAt;
        EXPECT_EQ(handler.events.size(), static_cast<std::size_t>(refuseAt + 1));
    }
}

TEST(ParserHandler, CheckOnlyModeNeedsNeitherTargetNorHandler) {
    Parser parser;
    std::string good = R"({"a":[1,{"b":"c"}]})";
    Parser::Iterator it{good.data(), good.data() + good.size()};
    EXPECT_TRUE(parser.parse_value(nullptr, nullptr, it, 0));
    EXPECT_EQ(it.current, good.data() + good.size());

    std::string bad = R"({"a":[1,{"b":"c"]})";
    Parser::Iterator badIt{bad.data(), bad.data() + bad.size()};
    EXPECT_FALSE(parser.parse_value(nullptr, nullptr, badIt, 0));
    EXPECT_EQ(parser.error(), "Unexpected string exists while parsing object.");
}

// Parses from a heap block of exactly the text's size, so that a read past the end is caught by
// the address sanitizer (a std::string would have its terminating NUL and spare room there).
ParseResult parseExact(std::string const& text, ParseOption options = 0) {
    std::unique_ptr<char[]> block(new char[text.size() ? text.size() : 1]);
    if (!text.empty())
        std::memcpy(block.get(), text.data(), text.size());
    Parser parser;
    ParseResult result{false, Value(), ""};
    result.ok = parser.parse(block.get(), text.size(), result.value, options);
    result.error = parser.error();
    return result;
}

std::string blanks(std::size_t n) {
    static char const kinds[] = {' ', '\t', '\n', '\r'};
    std::string s;
    for (std::size_t i = 0; i < n; ++i)
        s += kinds[(i * 7 + n) % 4];
    return s;
}

TEST(ParserBlanks, RunsOfEveryLengthAroundTokensAndAtTheEnd) {
    for (std::size_t n = 0; n < 40; ++n) {
        std::string const b = blanks(n);
        std::string const text = b + "{" + b + "\"k\"" + b + ":" + b + "[" + b + "1" + b + "," + b +
                                 "true" + b + "]" + b + "}" + b;
        auto r = parseExact(text);
        EXPECT_TRUE(r.ok) << n << ": " << r.error;
        EXPECT_EQ(compact(r.value), "{\"k\":[1,true]}") << n;
    }
}

TEST(ParserBlanks, OtherControlBytesEndARun) {
    // Vertical tab, form feed, NUL inside a container and a byte with the high bit set are no
    // blanks, wherever they fall within a long run.
    char const others[] = {'\v', '\f', '\0', '\xA0'};
    for (char other : others) {
        for (std::size_t n = 0; n < 34; ++n) {
            std::string text = "[1" + blanks(n);
            text += other;
            text += blanks(3) + "]";
            auto r = parseExact(text);
            EXPECT_FALSE(r.ok) << n;
            EXPECT_EQ(r.error, "Unexpected string exists while parsing array.") << n;
        }
    }
}

TEST(ParserStrings, QuoteOrBackslashAtEveryPositionOfLongRuns) {
    for (std::size_t n = 0; n < 40; ++n) {
        std::string const body(n, 'x');
        // A plain string and key of n bytes, then the same with an escape after them.
        auto plain = parseExact("{\"" + body + "\":\"" + body + "\"}");
        ASSERT_TRUE(plain.ok) << n << ": " << plain.error;
        EXPECT_EQ(plain.value[body].stringValue(), body) << n;

        auto escaped = parseExact("{\"" + body + "\\n\":\"" + body + "\\\"" + body + "\"}");
        ASSERT_TRUE(escaped.ok) << n << ": " << escaped.error;
        EXPECT_EQ(escaped.value[body + "\n"].stringValue(), body + "\"" + body) << n;

        // Unclosed at the very end of the text, with and without a trailing backslash.
        auto open = parseExact("[\"" + body);
        EXPECT_EQ(open.error, "Expected string ending character '\"' is not found.") << n;
        auto openKey = parseExact("{\"" + body);
        EXPECT_EQ(openKey.error, "Expected string ending character '\"' is not found.") << n;
        auto backslash = parseExact("[\"" + body + "\\");
        EXPECT_EQ(backslash.error, "Unexpected escape character is found while parsing string.")
            << n;
    }
}

TEST(ParserStrings, EscapedKeyEqualToAnEarlierOneKeepsTheFirst) {
    auto r = parseExact(R"({"a":1,"\u0061":2,"b\"":3,"b\u0022":4})");
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(compact(r.value), R"({"a":1,"b\"":3})");
}

TEST(ParserKeywords, WholeWordsTruncatedWordsAndEachWrongByte) {
    struct Word {
        char const* text;
        char const* message;
        char const* written;
    } const words[] = {
        {"true", "Invalid boolean type string exists.", "true"},
        {"false", "Invalid boolean type string exists.", "false"},
        {"null", "Invalid null type string exists.", "null"},
    };
    for (auto const& w : words) {
        std::string const word = w.text;
        auto alone = parseExact(word); // the word ends the text
        ASSERT_TRUE(alone.ok) << word << ": " << alone.error;
        EXPECT_EQ(compact(alone.value), w.written);
        auto inArray = parseExact("[" + word + "]");
        ASSERT_TRUE(inArray.ok) << word;
        EXPECT_EQ(compact(inArray.value), "[" + std::string(w.written) + "]");
        for (std::size_t cut = 1; cut < word.size(); ++cut) {
            auto r = parseExact(word.substr(0, cut));
            EXPECT_FALSE(r.ok) << word << " cut at " << cut;
            EXPECT_EQ(r.error, w.message) << word << " cut at " << cut;
        }
        for (std::size_t at = 1; at < word.size(); ++at) {
            std::string wrong = word;
            wrong[at] = static_cast<char>(wrong[at] - 'a' + 'A');
            auto r = parseExact("[" + wrong + "]");
            EXPECT_FALSE(r.ok) << wrong;
            EXPECT_EQ(r.error, w.message) << wrong;
        }
    }
}

TEST(ParserNumbers, EveryDigitCountAloneAsAnElementAndAsAMember) {
    // Integers of 1 to 18 digits never reach the accumulator's guard: alone, each must come back
    // exactly, wherever a non-digit ends it and also when it ends the text. Inside containers,
    // where most numbers are read and by a routine of their own, every digit count up to 20 must
    // read as it does alone, including one whose comma ends the text of an array left open; one
    // that ends the text itself leaves the array unfinished.
    char const* const followers[] = {"", ",", "]", " ", ".5", "e0", "x"};
    for (std::size_t digits = 1; digits <= 20; ++digits) {
        std::string number;
        std::int64_t expected = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            char const d = static_cast<char>('1' + (i * 3 + digits) % 9);
            number += d;
            if (digits <= 18)
                expected = expected * 10 + (d - '0');
        }
        for (char const* follower : followers) {
            if (digits > 18)
                break;
            std::string const text = "-" + number + follower;
            auto r = parseExact(text, kParseAllowGarbage);
            ASSERT_TRUE(r.ok) << text << ": " << r.error;
            if (std::strcmp(follower, ".5") == 0) {
                EXPECT_EQ(r.value.type(), Type::Double) << text;
                EXPECT_EQ(r.value.toDouble(0.0), -(static_cast<double>(expected) + 0.5)) << text;
            } else {
                EXPECT_EQ(r.value.type(), Type::Integer) << text;
                EXPECT_EQ(r.value.toInt64(0), -expected) << text;
            }
        }
        auto const single = parseExact("-" + number, kParseAllowGarbage);
        ASSERT_TRUE(single.ok) << number;
        std::string const written = compact(single.value);
        struct Case {
            std::string text;
            std::string expected;
        } const cases[] = {
            {"[-" + number + "]", "[" + written + "]"},
            {"[-" + number + " ,0]", "[" + written + ",0]"},
            {"{\"k\":-" + number + "}", "{\"k\":" + written + "}"},
            {"[-" + number + ",", "[" + written + "]"},
            {"[-" + number + "e0]", "[" + written + "]"},
        };
        for (auto const& c : cases) {
            auto r = parseExact(c.text);
            ASSERT_TRUE(r.ok) << c.text << ": " << r.error;
            EXPECT_EQ(compact(r.value), c.expected) << c.text;
        }
        auto fraction = parseExact("[" + number + ".5]");
        ASSERT_TRUE(fraction.ok) << number;
        EXPECT_EQ(fraction.value[0ul].type(), Type::Double) << number;
        auto unfinished = parseExact("[-" + number);
        EXPECT_EQ(unfinished.error, "Unexpected string exists while parsing array.") << number;
        auto leadingZero = parseExact("[0" + number + "]");
        EXPECT_EQ(leadingZero.error, "Unexpected '0' character is found while parsing number.");
    }
}

TEST(ParserNumbers, NineteenDigitsAtTheGuardAlikeAloneAsElementAndAsMember) {
    // The nineteenth digit is the first the accumulator's guard sees: above 922337203685477579 a
    // digit 8 or 9 makes the number a double, a digit 0 to 7 is still added and wraps. Elements
    // and members are read by their own integer routine, which must leave such numbers to it.
    struct Case {
        char const* number;
        char const* written;
    } const cases[] = {
        {"9223372036854775807", "9223372036854775807"},
        {"9223372036854775808", "9.2233720368547758e+18"},
        {"9223372036854775809", "9.2233720368547758e+18"},
        {"9223372036854775817", "-9223372036854775799"},
        {"9223372036854775819", "9.2233720368547758e+18"},
        {"9999999999999999997", "-8446744073709551619"},
        {"9999999999999999999", "1e+19"},
        {"1000000000000000000", "1000000000000000000"},
        {"-9223372036854775808", "-9.2233720368547758e+18"},
        {"-9223372036854775817", "9223372036854775799"},
        {"-9999999999999999999", "-1e+19"},
    };
    for (auto const& c : cases) {
        std::string const number = c.number;
        std::string const written = c.written;
        auto const alone = parseExact(number);
        ASSERT_TRUE(alone.ok) << number << ": " << alone.error;
        EXPECT_EQ(compact(alone.value), written) << number;
        struct Form {
            std::string text;
            std::string expected;
        } const forms[] = {
            {"[" + number + "]", "[" + written + "]"},
            {"[0," + number + "]", "[0," + written + "]"},
            {"{\"k\":" + number + "}", "{\"k\":" + written + "}"},
        };
        for (auto const& f : forms) {
            auto const r = parseExact(f.text);
            ASSERT_TRUE(r.ok) << f.text << ": " << r.error;
            EXPECT_EQ(compact(r.value), f.expected) << f.text;
        }
    }
}

TEST(ParserNumbers, NonDigitWithinAnEightByteBlock) {
    // A digit run broken after every length by bytes just outside '0'..'9'.
    char const breakers[] = {'/', ':', ' ', '\x80', '\xB0', 'a'};
    for (char breaker : breakers) {
        for (std::size_t digits = 1; digits < 17; ++digits) {
            std::string text = "[" + std::string(digits, '7');
            text += breaker;
            text += "9]";
            auto r = parseExact(text);
            EXPECT_FALSE(r.ok) << text;
            EXPECT_EQ(r.error, "Unexpected string exists while parsing array.") << text;
            std::string run = "[" + std::string(digits, '7') + "]";
            auto prefix = parseExact(run);
            ASSERT_TRUE(prefix.ok) << run;
            EXPECT_EQ(compact(prefix.value), run);
        }
    }
}

TEST(ParserScratch, SizedToWhatTheTextCanHold) {
    struct Case {
        std::size_t bytes;
        std::size_t values;
    } const cases[] = {
        {0, 1}, {1, 1}, {2, 2}, {16, 9}, {20, 11}, {509, 255}, {510, 256}, {511, 256},
        {1u << 20, 256},
    };
    for (auto const& c : cases)
        EXPECT_EQ(scratchValuesFor(c.bytes), c.values) << c.bytes;
}

// The densest texts (one-digit elements, flat and nested) hold no more elements than the room
// sized for them, below the cap; and they parse to what they say.
TEST(ParserScratch, DensestTextsFitTheirRoom) {
    for (std::size_t n = 1; n < 300; ++n) {
        std::string flat = "[";
        std::string nested = "[";
        for (std::size_t i = 0; i < n; ++i) {
            flat += i ? ",1" : "1";
            nested += i ? ",[1]" : "[1]";
        }
        flat += "]";
        nested += "]";
        if (n < 256) {
            EXPECT_GE(scratchValuesFor(flat.size()), n) << flat.size();
        }
        EXPECT_GE(scratchValuesFor(nested.size()), std::min<std::size_t>(n + 1, 256))
            << nested.size();
        EXPECT_EQ(compact(parseText(flat).value), flat);
        EXPECT_EQ(compact(parseText(nested).value), nested);
    }
}

} // namespace
} // namespace pocketjson
