// Value: types, sharing and copy-on-write, conversions.
#include "json/value.h"
#include "json_test_util.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace pocketjson {
namespace {

using test::compact;
using test::parseText;

TEST(ValueTypes, TagsAreTheDocumentedBitFlags) {
    EXPECT_EQ(static_cast<std::uint32_t>(Type::Null), 0u);
    EXPECT_EQ(static_cast<std::uint32_t>(Type::Boolean), 1u);
    EXPECT_EQ(static_cast<std::uint32_t>(Type::Integer), 2u);
    EXPECT_EQ(static_cast<std::uint32_t>(Type::Double), 4u);
    EXPECT_EQ(static_cast<std::uint32_t>(Type::String), 16u);
    EXPECT_EQ(static_cast<std::uint32_t>(Type::Object), 32u);
    EXPECT_EQ(static_cast<std::uint32_t>(Type::Array), 64u);
}

TEST(ValueTypes, ConstructionFromTypeGivesEmptyPayload) {
    struct Case {
        Type type;
        char const* text;
    } const cases[] = {
        {Type::Null, "null"},   {Type::Boolean, "false"}, {Type::Integer, "0"},
        {Type::Double, "0.0"},  {Type::String, "\"\""},   {Type::Object, "{}"},
        {Type::Array, "[]"},
    };
    for (auto const& c : cases) {
        Value v(c.type);
        EXPECT_EQ(v.type(), c.type);
        EXPECT_EQ(compact(v), c.text);
        EXPECT_EQ(v.size(), 0u);
    }
}

TEST(ValueTypes, ScalarConstructorsPickTheMatchingType) {
    EXPECT_EQ(Value(true).type(), Type::Boolean);
    EXPECT_EQ(Value(7).type(), Type::Integer);
    EXPECT_EQ(Value(std::int64_t{-7}).type(), Type::Integer);
    EXPECT_EQ(Value(7u).type(), Type::Integer);
    EXPECT_EQ(Value(2.5).type(), Type::Double);
    EXPECT_EQ(Value("text").type(), Type::String);
    EXPECT_EQ(Value(std::string("text")).type(), Type::String);
}

TEST(ValueSize, CountsMembersElementsAndBytes) {
    Value object(Type::Object);
    object["a"] = Value(1);
    object["b"] = Value(2);
    Value array(Type::Array);
    array.push_back(Value(1));
    EXPECT_EQ(object.size(), 2u);
    EXPECT_EQ(array.size(), 1u);
    EXPECT_EQ(Value("h\xC3\xA9llo").size(), 6u); // five letters, one of two bytes
    EXPECT_EQ(Value(true).size(), 0u);
    EXPECT_EQ(Value(12).size(), 0u);
    EXPECT_EQ(Value().size(), 0u);
}

TEST(ValueAccess, NonConstKeyIndexConvertsToObject) {
    Value v(5);
    Value& member = v["a"];
    EXPECT_TRUE(member.isNull());
    EXPECT_EQ(v.type(), Type::Object);
    EXPECT_EQ(compact(v), "{\"a\":null}");
}

TEST(ValueAccess, ConstKeyIndexReturnsSharedNullAndChangesNothing) {
    Value const v(5);
    EXPECT_EQ(&v["a"], &Value::s_null());
    EXPECT_EQ(v.type(), Type::Integer);

    Value object(Type::Object);
    object["present"] = Value(1);
    Value const& view = object;
    EXPECT_EQ(&view["absent"], &Value::s_null());
    EXPECT_EQ(view["present"].toInt64(0), 1);
    EXPECT_EQ(object.size(), 1u);
}

TEST(ValueAccess, IndexBeyondEndGrowsWithNulls) {
    Value v(Type::Array);
    v[5];
    EXPECT_EQ(v.size(), 6u);
    EXPECT_EQ(compact(v), "[null,null,null,null,null,null]");

    Value scalar("x");
    scalar[1] = Value(true);
    EXPECT_EQ(compact(scalar), "[null,true]");
}

TEST(ValueAccess, ContainsOnlyForObjectsWithTheExactKey) {
    Value v(Type::Object);
    v["key"] = Value(1);
    EXPECT_TRUE(v.contains("key"));
    EXPECT_FALSE(v.contains("Key"));
    EXPECT_FALSE(v.contains("ke"));
    EXPECT_FALSE(Value("key").contains("key"));
    EXPECT_FALSE(Value(Type::Array).contains("key"));
}

TEST(ValueSharing, CopiesShareOneContainer) {
    Value a(Type::Array);
    a.push_back(Value(1));
    Value b = a;
    EXPECT_EQ(a.shareCount(), 2);
    {
        Value c(b);
        EXPECT_EQ(a.shareCount(), 3);
    }
    EXPECT_EQ(a.shareCount(), 2);
    EXPECT_EQ(&a.arrayItems(), &b.arrayItems());
}

TEST(ValueSharing, PushBackAppendsThroughEveryHandleButIndexWriteDetaches) {
    Value b(Type::Array);
    b.push_back(Value(1));
    Value a = b;
    a.push_back(Value(2));
    EXPECT_EQ(compact(b), "[1,2]"); // push_back does not detach

    a[0] = Value(9);
    EXPECT_EQ(compact(a), "[9,2]");
    EXPECT_EQ(compact(b), "[1,2]"); // the write through operator[] detached a first
    EXPECT_EQ(a.shareCount(), 1);
    EXPECT_EQ(b.shareCount(), 1);
}

TEST(ValueSharing, ObjectKeyWriteDetaches) {
    Value b(Type::Object);
    b["x"] = Value(1);
    Value a = b;
    a["x"] = Value(2);
    a["y"] = Value(3);
    EXPECT_EQ(compact(a), "{\"x\":2,\"y\":3}");
    EXPECT_EQ(compact(b), "{\"x\":1}");
}

TEST(ValueSharing, DetachCopiesOnlyOneLevel) {
    Value inner(Type::Array);
    inner.push_back(Value(1));
    Value outer(Type::Array);
    outer.push_back(inner);
    Value copy = outer;
    EXPECT_EQ(inner.shareCount(), 2); // inner itself and the element in outer

    copy[1] = Value(true); // detaches copy: its element handles are copied, not their content
    EXPECT_EQ(inner.shareCount(), 3);
    EXPECT_EQ(&copy[0].arrayItems(), &inner.arrayItems());

    copy[0][0] = Value(5); // writing into the nested array detaches that level in turn
    EXPECT_EQ(compact(inner), "[1]");
    EXPECT_EQ(compact(copy), "[[5],true]");
}

TEST(ValueAssignment, StringAssignmentReusesOnlyUnsharedText) {
    Value a("first");
    std::string const* before = &a.stringValue();
    a = "second";
    EXPECT_EQ(&a.stringValue(), before); // assigned in place
    EXPECT_EQ(a.stringValue(), "second");

    Value shared = a;
    a.setString("third");
    EXPECT_EQ(shared.stringValue(), "second");
    EXPECT_EQ(a.stringValue(), "third");
    EXPECT_EQ(shared.shareCount(), 1);

    Value number(3);
    number = "now text";
    EXPECT_EQ(number.type(), Type::String);
}

TEST(ValueAssignment, SetTypeKeepsContentOnlyForTheSameType) {
    Value v(Type::Array);
    v.push_back(Value(1));
    v.setType(Type::Array);
    EXPECT_EQ(compact(v), "[1]");
    v.setType(Type::Object);
    EXPECT_EQ(compact(v), "{}");
    v.setType(Type::Integer);
    EXPECT_EQ(compact(v), "0");
}

TEST(ValueAssignment, SelfAndMemberAssignmentAreSafe) {
    Value v(Type::Object);
    v["a"]["b"] = Value(1);
    Value& self = v;
    v = self;
    EXPECT_EQ(compact(v), "{\"a\":{\"b\":1}}");
    v = v["a"]; // the member outlives the container it came from
    EXPECT_EQ(compact(v), "{\"b\":1}");
    v = std::move(v["b"]);
    EXPECT_EQ(compact(v), "1");
}

TEST(ValuePushBack, ConvertsNonArraysAndIgnoresItself) {
    Value v(3);
    v.push_back(Value("x"));
    EXPECT_EQ(compact(v), "[\"x\"]");
    v.push_back(v);
    EXPECT_EQ(compact(v), "[\"x\"]");

    Value object(Type::Object);
    object["k"] = Value(1);
    Value& member = object["k"];
    object.push_back(member); // the member survives dropping the object it came from
    EXPECT_EQ(compact(object), "[1]");

    Value array(Type::Array);
    array.push_back(Value(1));
    for (int i = 0; i < 100; ++i)
        array.push_back(array[0]); // pushing an element of the array itself
    EXPECT_EQ(array.size(), 101u);
    EXPECT_EQ(array[100].toInt64(0), 1);
}

TEST(ValueConversion, ToUIntAcceptsOnlyValuesInRange) {
    struct Case {
        Value value;
        unsigned expected;
    } const cases[] = {
        {Value(true), 1},
        {Value(false), 0},
        {Value(42), 42},
        {Value(std::int64_t{4294967295}), 4294967295u},
        {Value(std::int64_t{4294967296}), 77},
        {Value(-1), 77},
        {Value(2.5), 3},
        {Value(-0.4), 0},
        {Value(-0.5), 77}, // rounds away from zero to -1
        {Value(4294967295.4), 4294967295u},
        {Value(4294967296.0), 77},
        {Value(std::nan("")), 77},
        {Value("0x10"), 16},
        {Value("017"), 15},
        {Value("  +12"), 12},
        {Value("12abc"), 77},
        {Value(""), 0},
        {Value("4294967296"), 77},
        {Value("-1"), 77},
        {Value(), 77},
        {Value(Type::Object), 77},
        {Value(Type::Array), 77},
    };
    for (auto const& c : cases)
        EXPECT_EQ(c.value.toUInt(77), c.expected) << compact(c.value);
}

TEST(ValueConversion, ToStringGivesTextOfScalarsAndDefaultOtherwise) {
    struct Case {
        Value value;
        char const* expected;
    } const cases[] = {
        {Value(true), "true"},
        {Value(false), "false"},
        {Value(std::int64_t{-9223372036854775807LL - 1}), "-9223372036854775808"},
        {Value(0.1), "0.10000000000000001"},
        {Value(0.0), "0.0"},
        {Value(-0.0), "0.0"},
        {Value(100.0), "100"},
        {Value(std::numeric_limits<double>::infinity()), "inf"},
        {Value(-std::numeric_limits<double>::infinity()), "-inf"},
        {Value(std::nan("")), "nan"},
        {Value("text"), "text"},
        {Value(), "default"},
        {Value(Type::Object), "default"},
        {Value(Type::Array), "default"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(c.value.toString("default"), c.expected);
}

TEST(ValueConversion, ScalarReadsFallBackForOtherTypes) {
    EXPECT_TRUE(Value(true).toBool(false));
    EXPECT_TRUE(Value(1).toBool(true));
    EXPECT_EQ(Value(2.5).toInt64(-1), 3);
    EXPECT_EQ(Value("0x20").toInt64(-1), 32);
    EXPECT_EQ(Value("99999999999999999999").toInt64(-1), -1);
    EXPECT_EQ(Value(1e300).toInt64(-1), -1);
    EXPECT_EQ(Value(Type::Array).toInt64(-1), -1);
    EXPECT_EQ(Value(3).toDouble(0.0), 3.0);
    EXPECT_EQ(Value("2.25").toDouble(0.0), 2.25);
    EXPECT_EQ(Value("2.25x").toDouble(-1.0), -1.0);
    EXPECT_EQ(Value().toDouble(-1.0), -1.0);
}

TEST(ValueConversion, DoubleTextIgnoresTheThreadLocale) {
    test::CommaLocaleScope scope;
    ASSERT_TRUE(scope.available()) << "de_DE.UTF-8 is missing: run scripts/bootstrap";
    EXPECT_EQ(Value(1.5).toString(""), "1.5");
    EXPECT_EQ(Value("1.5").toDouble(0.0), 1.5);
}

TEST(ValueEquality, ComparesTypesAndContentDeeply) {
    test::ParseResult a = test::parseText(R"({"a":[1,2.5,"x",{"b":null}],"c":true})");
    test::ParseResult b = test::parseText(R"({"c":true,"a":[1,2.5,"x",{"b":null}]})");
    test::ParseResult c = test::parseText(R"({"c":true,"a":[1,2.5,"x",{"b":false}]})");
    EXPECT_TRUE(a.value == b.value);
    EXPECT_FALSE(a.value == c.value);
    EXPECT_FALSE(Value(1) == Value(1.0)); // integer and double are different types
    EXPECT_TRUE(Value(0.0) == Value(-0.0));
}

TEST(ValueReserve, KeepsElementsAndConvertsOthersAsPushBackDoes) {
    struct Case {
        Value start;
        char const* afterPush;
    } const cases[] = {
        {Value(), "[7]"},
        {Value(3), "[7]"},
        {Value("text"), "[7]"},
        {parseText(R"({"a":1})").value, "[7]"},
        {parseText("[1,2]").value, "[1,2,7]"},
    };
    for (auto const& c : cases) {
        Value v = c.start;
        v.reserve(300);
        EXPECT_EQ(v.type(), Type::Array);
        std::size_t const before = v.arrayItems().size();
        EXPECT_GE(v.arrayItems().capacity(), 300u);
        Value const* first = before ? &v.arrayItems()[0] : nullptr;
        v.push_back(Value(7));
        EXPECT_EQ(compact(v), c.afterPush);
        if (first != nullptr) {
            EXPECT_EQ(&v.arrayItems()[0], first) << "no reallocation after reserve";
        }
    }
}

TEST(ValueReserve, SharedArrayGrowsThroughEveryHandle) {
    Value a = parseText("[1]").value;
    Value b = a;
    b.reserve(10);
    b.push_back(Value(2));
    EXPECT_EQ(compact(a), "[1,2]");
    EXPECT_EQ(a.shareCount(), 2);
}

} // namespace
} // namespace pocketjson
