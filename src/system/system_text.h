// Text from the system-information library as the plug-in answers it, and the user's languages.
#pragma once

#include <string>
#include <vector>

namespace kavri::system {

// A library string in UTF-8; a null pointer (a getter with nothing to say) reads as "".
std::string LibraryText(char const* text);

// The user's languages in order of preference: OrmEnumLocaleLanguage from index 0 up to the
// first index that yields nothing (null or "").
std::vector<std::string> UserLanguages();

} // namespace kavri::system
