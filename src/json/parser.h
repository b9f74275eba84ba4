// pocketjson::Parser: JSON text into a Value, or into events for an AbstractParseHandler.
#pragma once

#include "json/value.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pocketjson {

// The element handles the parser's scratch stack starts with for a text of `textBytes` bytes:
// what the text can hold at most, and no more than 256.
std::size_t scratchValuesFor(std::size_t textBytes);

using ParseOption = unsigned int;
// Bit 0: accept a trailing comma before ']' or '}'.
constexpr ParseOption kParseAllowTrailingComma = 1;
// Bit 1: accept anything after the top-level value.
constexpr ParseOption kParseAllowGarbage = 2;

// Receives the parse as events. Returning false from any of them cancels the parse.
class AbstractParseHandler {
public:
    virtual ~AbstractParseHandler() = default;
    virtual bool onNull() = 0;
    virtual bool onBoolean(bool const& value) = 0;
    virtual bool onInteger(std::int64_t const& value) = 0;
    virtual bool onDouble(double const& value) = 0;
    virtual bool onString(std::string const& value) = 0;
    virtual bool onStartArray() = 0;
    virtual bool onEndArray(std::uint64_t const& count) = 0;
    virtual bool onStartObject() = 0;
    virtual bool onKey(std::string const& key) = 0;
    virtual bool onEndObject(std::uint64_t const& count) = 0;
};

// Every routine returns false on failure and leaves one fixed message in error(). Nesting depth is
// bounded only by memory: arrays and objects are walked with an explicit stack, never by recursion.
// One parser serves one parse at a time.
class Parser {
public:
    struct Iterator {
        char const* current;
        char const* end;
    };

    // The whole-text parse: drops a leading byte-order mark byte by byte, parses one value into
    // `target`, then (unless kParseAllowGarbage) allows only blanks up to the end or a NUL byte.
    // Fails exactly when a message was set; a lone low surrogate stops the parse without one.
    bool parse(std::string const& text, Value& target, ParseOption options = 0);
    bool parse(char const* data, std::size_t size, Value& target, ParseOption options = 0);
    // The same over handler events instead of a tree.
    bool parse(char const* data, std::size_t size, AbstractParseHandler& handler,
               ParseOption options = 0);

    std::string const& error() const { return error_; }

    // With a target the value is built into it; otherwise a handler, if given, gets the events;
    // with neither, the text is only checked.
    bool parse_value(Value* target, AbstractParseHandler* handler, Iterator& it,
                     ParseOption options);
    bool parse_object(Value* target, AbstractParseHandler* handler, Iterator& it,
                      ParseOption options);
    bool parse_array(Value* target, AbstractParseHandler* handler, Iterator& it,
                     ParseOption options);
    bool parse_string(Iterator& it, std::string& out);
    bool parse_number(Value* target, AbstractParseHandler* handler, Iterator& it);
    bool parse_hex(Iterator& it, unsigned short& out);
    void skip_white_space(Iterator& it);

private:
    // One open array or object. Its container exists from the opening bracket on, already held
    // by its parent, so that a tree is allocated in the order the serializer reads it back.
    struct Frame {
        bool isObject;
        bool memberOpen;                     // an object member was inserted, its value unfinished
        std::uint64_t count;                 // finished members
        std::size_t valueBase;               // first element (or scratch value) in values_
        Value::AbstractContainer* container; // the array or object being filled
        Value::Object::iterator member;      // the inserted member while memberOpen
    };

    template <typename Top>
    bool parseWhole(char const* data, std::size_t size, Top&& parseTop, ParseOption options);
    bool parseNested(Value* target, AbstractParseHandler* handler, Iterator& it,
                     ParseOption options);
    template <bool kBuild>
    bool walk(Value* target, AbstractParseHandler* handler, Iterator& it, ParseOption options);
    bool parseScalar(Value* target, AbstractParseHandler* handler, Iterator& it);
    bool parseKeyword(Value* target, AbstractParseHandler* handler, Iterator& it);
    bool parseStringValue(Value* target, AbstractParseHandler* handler, Iterator& it);
    void closeContainer(Frame const& frame, std::uint64_t count);
    Value* openMember(Frame& frame, char const* key, std::size_t keyLength);
    bool fail(char const* message);
    // Writes a scalar or a string into a target; new slots hold no container, so for them this
    // is a few stores (and one allocation for a string) without a call into the value.
    static void storeScalar(Value& target, Value const& scalar);
    static void storeText(Value& target, char const* text, std::size_t length);

    std::string error_;
    std::vector<Frame> frames_;
    std::vector<Value> values_;
    std::string key_;
    std::string text_;
};

} // namespace pocketjson
