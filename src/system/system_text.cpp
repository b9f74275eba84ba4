// Library strings converted for the page, and the enumeration of the user's languages.
#include "system/system_text.h"

#include "fs/strings.h"
#include "platform/ormic.h"

#include <cstdint>

namespace kavri::system {

std::string LibraryText(char const* text) {
    return text != nullptr ? string::system_to_utf8(text) : std::string();
}

std::vector<std::string> UserLanguages() {
    std::vector<std::string> languages;
    for (std::uint32_t i = 0;; ++i) {
        char const* language = OrmEnumLocaleLanguage(i);
        if (language == nullptr || *language == '\0')
            break;
        languages.push_back(LibraryText(language));
    }
    return languages;
}

} // namespace kavri::system
