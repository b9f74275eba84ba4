// Nesting a million levels deep never touches the machine stack, even on a 256 KiB thread.
#include "json/pocketjson.h"

#include <pthread.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace pocketjson {
namespace {

constexpr std::size_t kDepth = 1000000;
constexpr std::size_t kSmallStack = 256 * 1024;

// Runs `body` on a new thread whose stack is 256 KiB, as a host's UI thread may have.
void runOnSmallStack(std::function<void()> body) {
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, kSmallStack), 0);
    pthread_t thread;
    auto trampoline = [](void* arg) -> void* {
        (*static_cast<std::function<void()>*>(arg))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attr, trampoline, &body), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
}

std::string nestedArrays(std::size_t depth) {
    return std::string(depth, '[') + "7" + std::string(depth, ']');
}

std::string nestedObjects(std::size_t depth) {
    std::string text;
    text.reserve(depth * 7 + 1);
    for (std::size_t i = 0; i < depth; ++i)
        text += "{\"a\":";
    text += "7";
    text.append(depth, '}');
    return text;
}

// Counts events without keeping them.
class CountingHandler : public AbstractParseHandler {
public:
    std::size_t starts = 0, ends = 0, keys = 0, scalars = 0;
    bool onNull() override { return ++scalars, true; }
    bool onBoolean(bool const&) override { return ++scalars, true; }
    bool onInteger(std::int64_t const&) override { return ++scalars, true; }
    bool onDouble(double const&) override { return ++scalars, true; }
    bool onString(std::string const&) override { return ++scalars, true; }
    bool onStartArray() override { return ++starts, true; }
    bool onEndArray(std::uint64_t const&) override { return ++ends, true; }
    bool onStartObject() override { return ++starts, true; }
    bool onKey(std::string const&) override { return ++keys, true; }
    bool onEndObject(std::uint64_t const&) override { return ++ends, true; }
};

// Parse, copy, detach, compare, serialize both ways and destroy a tree `depth` levels deep.
void exerciseDeepText(std::string const& text, bool objects) {
    Parser parser;
    Value root;
    ASSERT_TRUE(parser.parse(text, root)) << parser.error();

    Value copy = root; // O(1): shares the outermost container
    EXPECT_EQ(root.shareCount(), 2);
    if (objects)
        copy["b"] = Value(1); // detaches one level only
    else
        copy[1ul] = Value(1);
    EXPECT_EQ(root.shareCount(), 1);
    EXPECT_FALSE(copy == root);
    EXPECT_TRUE(root == Value(root));

    std::string compactText;
    ASSERT_TRUE(Serializer::serialize(compactText, root));
    EXPECT_EQ(compactText, text);

    std::string prettyText;
    SerializeAttributes pretty{true, "", "\n"};
    ASSERT_TRUE(Serializer::serialize(prettyText, root, pretty, 0));
    EXPECT_EQ(prettyText.size(), text.size() + 2 * kDepth + (objects ? kDepth : 0));

    CountingHandler handler;
    ASSERT_TRUE(parser.parse(text.data(), text.size(), handler));
    EXPECT_EQ(handler.starts, kDepth);
    EXPECT_EQ(handler.ends, kDepth);
    EXPECT_EQ(handler.keys, objects ? kDepth : 0);
    EXPECT_EQ(handler.scalars, 1u);
}

TEST(DeepNesting, MillionArraysOnSmallStack) {
    std::string const text = nestedArrays(kDepth);
    runOnSmallStack([&] { exerciseDeepText(text, false); });
}

TEST(DeepNesting, MillionObjectsOnSmallStack) {
    std::string const text = nestedObjects(kDepth);
    runOnSmallStack([&] { exerciseDeepText(text, true); });
}

TEST(DeepNesting, FailuresDeepDownUnwindWithoutRecursion) {
    runOnSmallStack([] {
        Parser parser;
        Value v;
        std::string unclosed = std::string(kDepth, '[');
        EXPECT_FALSE(parser.parse(unclosed, v));
        EXPECT_EQ(parser.error(), "Unexpected string exists while parsing array.");
        std::string broken = std::string(kDepth, '[') + "x";
        EXPECT_FALSE(parser.parse(broken, v));
        EXPECT_EQ(parser.error(), "Unexpected character exists while parsing.");
    });
}

TEST(DeepNesting, TreesBuiltByHandAreDestroyedIteratively) {
    runOnSmallStack([] {
        Value root(Type::Array);
        Value* cursor = &root;
        for (std::size_t i = 0; i < kDepth; ++i)
            cursor = &(*cursor)[0ul];
        *cursor = Value("leaf");
        Value shared = root[0ul][0ul]; // a shared inner level must survive the outer ones
        root = Value();
        std::size_t depth = 0;
        for (Value const* v = &shared; v->type() == Type::Array; v = &v->arrayItems()[0])
            ++depth;
        EXPECT_EQ(depth, kDepth - 2);
    });
}

} // namespace
} // namespace pocketjson
