// Reading the screen selectors a page sends: a screen index and a desktop point.
#pragma once

#include "json/value.h"

#include <cstdint>
#include <string>

namespace kavri::screen {

// The screen index a page sent, converted as every unsigned 32-bit value of a request is
// (Value::toUInt): an integer, a boolean (1 or 0), a real (rounded, when it lies in 0 to
// 4294967295) or a string read by strtoll in base 0 over its whole text (leading blanks and a
// sign allowed, "0x" hexadecimal, leading-0 octal; the empty string is 0). Anything else reads as
// 4294967295, which no screen index reaches, since a count of screens is itself 32-bit.
std::uint32_t ReadScreenIndex(pocketjson::Value const& value);

// "XxY": the text split at 'x' must give exactly two pieces, each read as an int (0 when it does
// not read as one). False, `x` and `y` untouched, otherwise.
bool ReadScreenPoint(std::string const& text, int& x, int& y);

// The selector as it goes into the request's URI: a string as it is, any other value as its
// compact JSON text, nothing when it is absent.
std::string SelectorText(pocketjson::Value const& value);

} // namespace kavri::screen
