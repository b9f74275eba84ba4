// string::split and string::system_to_utf8.
#include "fs/strings.h"

namespace string {

std::vector<std::string> split(std::string const& text, std::string const& separator) {
    std::vector<std::string> pieces;
    if (separator.empty()) {
        if (!text.empty())
            pieces.push_back(text);
        return pieces;
    }
    std::string::size_type start = 0;
    while (start <= text.size()) {
        std::string::size_type end = text.find(separator, start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            pieces.push_back(text.substr(start, end - start));
        start = end + separator.size();
    }
    return pieces;
}

std::string system_to_utf8(std::string const& text) {
    return text;
}

} // namespace string
