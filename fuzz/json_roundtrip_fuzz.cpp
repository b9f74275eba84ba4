// libFuzzer target: any bytes, every option combination; accepted text must write, re-read and
// re-write to the same text, and the event parse must agree with the tree parse.
#include "json/pocketjson.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

// Accepts every event, so the event parse runs the same path as the tree parse.
class AcceptAll : public pocketjson::AbstractParseHandler {
public:
    bool onNull() override { return true; }
    bool onBoolean(bool const&) override { return true; }
    bool onInteger(std::int64_t const&) override { return true; }
    bool onDouble(double const&) override { return true; }
    bool onString(std::string const&) override { return true; }
    bool onStartArray() override { return true; }
    bool onEndArray(std::uint64_t const&) override { return true; }
    bool onStartObject() override { return true; }
    bool onKey(std::string const&) override { return true; }
    bool onEndObject(std::uint64_t const&) override { return true; }
};

void check(bool condition) {
    if (!condition)
        std::abort();
}

// Whether `twice` (written after reading `once` back) is what `once` reads as. The one integer
// that does not read back as written: digits past 64 bits wrap, so a tree can hold
// -9223372036854775808, whose text overflows the reader's accumulator and reads as the double
// -9.2233720368547758e+18. Any other difference is a real one.
bool readsBackAs(std::string const& once, std::string const& twice) {
    if (once == twice)
        return true;
    std::string const integer = "-9223372036854775808";
    std::string const asRead = "-9.2233720368547758e+18";
    std::string text = once;
    for (std::size_t at = text.find(integer); at != std::string::npos;
         at = text.find(integer, at + asRead.size()))
        text.replace(at, integer.size(), asRead);
    return text == twice;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    char const* text = reinterpret_cast<char const*>(data);
    for (pocketjson::ParseOption options = 0; options < 4; ++options) {
        pocketjson::Parser parser;
        pocketjson::Value value;
        bool const ok = parser.parse(text, size, value, options);
        check(ok == parser.error().empty());

        AcceptAll handler;
        pocketjson::Parser eventParser;
        check(eventParser.parse(text, size, handler, options) == ok);
        check(eventParser.error() == parser.error());
        if (!ok)
            continue;

        std::string once;
        std::string error;
        if (!pocketjson::Serializer::serialize(once, value, pocketjson::SerializeAttributes(), -1,
                                               &error)) {
            check(error == "Floating point is nan or inf."); // an out-of-range number
            continue;
        }
        pocketjson::Value again;
        check(parser.parse(once, again));
        std::string twice;
        check(pocketjson::Serializer::serialize(twice, again));
        check(readsBackAs(once, twice));

        pocketjson::Value copy = value; // copies and detaches leave the original as written
        copy["__fuzz__"] = pocketjson::Value(1);
        std::string after;
        check(pocketjson::Serializer::serialize(after, value));
        check(after == once);
    }
    return 0;
}
