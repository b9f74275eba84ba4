// SystemPreferredLanguage: the user's languages matched against the page's resource languages.
#include "system/preferred_language.h"

#include "fs/strings.h"
#include "system/system_resources.h"
#include "system/system_text.h"

#include <cstddef>

namespace kavri::system {

namespace {

// Letters compare without case, and "_" stands for "-" ("en_US" is "en-US").
char folded(char c) {
    if (c == '_')
        return '-';
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// `text` begins with `head`, and `head` is all of it or is followed by a separator.
bool beginsWithTag(std::string const& text, std::string const& head) {
    if (head.empty() || head.size() > text.size())
        return false;
    for (std::size_t i = 0; i < head.size(); ++i) {
        if (folded(text[i]) != folded(head[i]))
            return false;
    }
    return head.size() == text.size() || folded(text[head.size()]) == '-';
}

// The piece without blanks around it: "en, ja" names "en" and "ja".
std::string trimmed(std::string const& text) {
    std::size_t const first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return std::string();
    std::size_t const last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

} // namespace

bool LanguageServes(std::string const& resource, std::string const& user) {
    return beginsWithTag(user, resource) || beginsWithTag(resource, user);
}

std::string PreferredLanguage(std::vector<std::string> const& userLanguages,
                              std::vector<std::string> const& resources,
                              std::string const& fallback) {
    for (std::string const& user : userLanguages) {
        for (std::string const& resource : resources) {
            if (LanguageServes(resource, user))
                return resource;
        }
    }
    return fallback;
}

std::vector<std::string> ResourceLanguages(std::string const& list) {
    std::vector<std::string> languages;
    for (std::string const& piece : string::split(list, ",")) {
        std::string name = trimmed(piece);
        if (!name.empty())
            languages.push_back(name);
    }
    return languages;
}

} // namespace kavri::system

namespace kavri::bridge {

BridgeResult SystemPreferredLanguage::Get(BridgeData const& data) {
    uri += "System/PreferredLanguage";
    std::string const fallback = data.query["fallback"].toString("");
    std::string const resources = data.query["resources"].toString("");
    std::vector<std::string> const languages = system::UserLanguages();
    BridgeCheckError(!languages.empty(), "Failed to get languages.");
    return BridgeResultOK(pocketjson::Value(
        system::PreferredLanguage(languages, system::ResourceLanguages(resources), fallback)));
}

} // namespace kavri::bridge
