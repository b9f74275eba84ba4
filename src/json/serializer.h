// pocketjson::Serializer: a Value written as compact or indented JSON text.
#pragma once

#include "json/value.h"

#include <string>

namespace pocketjson {

// How a value is laid out; the defaults give compact text.
struct SerializeAttributes {
    bool pretty = false;
    std::string indent;  // written once per level at the start of each line in pretty mode
    std::string newline; // written before each indentation in pretty mode
};

// Writes by appending to a string. Nesting depth is bounded only by memory: containers are walked
// with an explicit stack, never by recursion.
class Serializer {
public:
    using Attributes = SerializeAttributes;

    // Appends `value` at nesting `level` (-1 for a top-level value written without indentation).
    // Fails only on a NaN or infinite double: "Floating point is nan or inf." goes to *error when
    // given, and the text written up to that point stays in `out`.
    static bool serialize(std::string& out, Value const& value,
                          Attributes const& attributes = Attributes(), int const& level = -1,
                          std::string* error = nullptr);
    static void serialize_string(std::string& out, std::string const& s);
    static void indent(std::string& out, Attributes const& attributes, int const& level);
};

} // namespace pocketjson
