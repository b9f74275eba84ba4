// Reading the screen selectors a page sends: a screen index and a desktop point.
#pragma once

#include "json/value.h"

#include <cstdint>
#include <string>

namespace kavri::screen {

// An unsigned 32-bit index from an integer, a boolean (1 or 0), a real (rounded, when it lies in
// 0 to 4294967295) or a string holding only an unsigned number in decimal, "0x" hexadecimal or
// leading-0 octal. False, `index` untouched, for anything else.
bool ReadScreenIndex(pocketjson::Value const& value, std::uint32_t& index);

// "XxY": the text split at 'x' must give exactly two pieces, each read as an int (0 when it does
// not read as one). False, `x` and `y` untouched, otherwise.
bool ReadScreenPoint(std::string const& text, int& x, int& y);

// The selector as it goes into the request's URI: a string as it is, any other value as its
// compact JSON text, nothing when it is absent.
std::string SelectorText(pocketjson::Value const& value);

} // namespace kavri::screen
