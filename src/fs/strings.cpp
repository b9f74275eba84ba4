// string::split, string::system_to_utf8 and the UTF-8 checks.
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

std::size_t utf8_sequence_length(unsigned char c) {
    if (c >= 0xC2 && c <= 0xDF)
        return 2;
    if (c >= 0xE0 && c <= 0xEF)
        return 3;
    if (c >= 0xF0 && c <= 0xF4)
        return 4;
    return 1;
}

bool is_utf8(std::string const& text) {
    auto const* p = reinterpret_cast<unsigned char const*>(text.data());
    auto const* const end = p + text.size();
    while (p != end) {
        unsigned char const c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        std::size_t const length = utf8_sequence_length(c);
        if (length == 1 || static_cast<std::size_t>(end - p) < length)
            return false;
        // The second byte's range rules out overlong forms (E0, F0), surrogates (ED) and code
        // points above U+10FFFF (F4); the later ones are plain continuation bytes.
        unsigned char low = 0x80;
        unsigned char high = 0xBF;
        if (c == 0xE0)
            low = 0xA0;
        else if (c == 0xED)
            high = 0x9F;
        else if (c == 0xF0)
            low = 0x90;
        else if (c == 0xF4)
            high = 0x8F;
        if (p[1] < low || p[1] > high)
            return false;
        for (std::size_t i = 2; i < length; ++i) {
            if ((p[i] & 0xC0) != 0x80)
                return false;
        }
        p += length;
    }
    return true;
}

} // namespace string
