// The choice of the resource language that serves the user's languages best.
#pragma once

#include <string>
#include <vector>

namespace kavri::system {

// Whether the resource language `resource` serves the user language `user`: the two are equal, or
// one is the other followed by a region or script after "-" or "_" ("en" serves "en-US" and
// "en-US" serves "en"; "en" does not serve "eng"). Letters compare without regard to case, and "_"
// matches "-".
bool LanguageServes(std::string const& resource, std::string const& user);

// The names in a comma-separated list, without blanks around them and without empty ones.
std::vector<std::string> ResourceLanguages(std::string const& list);

// The first resource, in the order of `resources`, that serves the first user language (in the
// order of preference) that any resource serves; `fallback` when none does.
std::string PreferredLanguage(std::vector<std::string> const& userLanguages,
                              std::vector<std::string> const& resources,
                              std::string const& fallback);

} // namespace kavri::system
