// The function names a platform header declares with a given prefix, read from the header text.
#pragma once

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace test {

// Every identifier starting with `prefix` that is followed by "(" in the header: the functions
// (struct and typedef names are never followed by a parenthesis there).
inline std::set<std::string> declaredFunctions(std::string const& headerPath,
                                               std::string const& prefix) {
    std::ifstream in(headerPath);
    std::ostringstream text;
    text << in.rdbuf();
    std::string const source = text.str();
    std::set<std::string> names;
    std::regex const pattern("\\b(" + prefix + "[A-Za-z0-9_]*)\\s*\\(");
    for (auto it = std::sregex_iterator(source.begin(), source.end(), pattern);
         it != std::sregex_iterator(); ++it)
        names.insert((*it)[1].str());
    return names;
}

} // namespace test
