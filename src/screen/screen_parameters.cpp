// Screen selectors: index and point readers, and the selector text for the URI.
#include "screen/screen_parameters.h"

#include "fs/strings.h"
#include "json/serializer.h"

#include <cmath>
#include <limits>

namespace kavri::screen {

std::uint32_t ReadScreenIndex(pocketjson::Value const& value) {
    return value.toUInt(std::numeric_limits<std::uint32_t>::max());
}

bool ReadScreenPoint(std::string const& text, int& x, int& y) {
    std::vector<std::string> const parts = string::split(text, "x");
    if (parts.size() != 2)
        return false;
    x = string::to<int>(parts[0]);
    y = string::to<int>(parts[1]);
    return true;
}

std::string SelectorText(pocketjson::Value const& value) {
    if (value.type() == pocketjson::Type::String)
        return value.stringValue();
    if (value.isNull())
        return {};
    std::string text;
    if (!pocketjson::Serializer::serialize(text, value))
        text.clear();
    return text;
}

} // namespace kavri::screen
