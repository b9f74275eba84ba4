// An independent strict UTF-8 check for test oracles (it shares no code with the plug-in's own).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace sim::host {

// Whether `text` is strict UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF.
inline bool IsStrictUtf8(std::string const& text) {
    auto const* p = reinterpret_cast<unsigned char const*>(text.data());
    auto const* const end = p + text.size();
    while (p < end) {
        unsigned char const c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        std::size_t length = 0;
        std::uint32_t code = 0;
        std::uint32_t minimum = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
            code = c & 0x1Fu;
            minimum = 0x80;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            code = c & 0x0Fu;
            minimum = 0x800;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            code = c & 0x07u;
            minimum = 0x10000;
        } else {
            return false;
        }
        if (static_cast<std::size_t>(end - p) < length)
            return false;
        for (std::size_t i = 1; i < length; ++i) {
            if ((p[i] & 0xC0u) != 0x80u)
                return false;
            code = (code << 6) | (p[i] & 0x3Fu);
        }
        if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
            return false;
        p += length;
    }
    return true;
}

} // namespace sim::host
