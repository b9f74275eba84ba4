// Screen selectors: index and point readers, and the selector text for the URI.
#include "screen/screen_parameters.h"

#include "fs/strings.h"
#include "json/serializer.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace kavri::screen {

namespace {

constexpr std::uint64_t kIndexMax = std::numeric_limits<std::uint32_t>::max();

bool readIndexText(std::string const& text, std::uint32_t& index) {
    // strtoull would also take blanks, a sign and trailing text; the page's index is the number
    // alone.
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return false;
    errno = 0;
    char* end = nullptr;
    unsigned long long const n = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || end != text.c_str() + text.size() || n > kIndexMax)
        return false;
    index = static_cast<std::uint32_t>(n);
    return true;
}

} // namespace

bool ReadScreenIndex(pocketjson::Value const& value, std::uint32_t& index) {
    switch (value.type()) {
    case pocketjson::Type::Integer: {
        std::int64_t const n = value.toInt64(-1);
        if (n < 0 || static_cast<std::uint64_t>(n) > kIndexMax)
            return false;
        index = static_cast<std::uint32_t>(n);
        return true;
    }
    case pocketjson::Type::Boolean:
        index = value.toBool(false) ? 1 : 0;
        return true;
    case pocketjson::Type::Double: {
        double const d = value.toDouble(-1.0);
        if (!(d >= 0.0 && d <= static_cast<double>(kIndexMax)))
            return false;
        index = static_cast<std::uint32_t>(std::round(d));
        return true;
    }
    case pocketjson::Type::String:
        return readIndexText(value.stringValue(), index);
    default:
        return false;
    }
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
