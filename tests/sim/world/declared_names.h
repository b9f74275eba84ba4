// The function names a platform header declares with a given prefix, read from the header text.
#pragma once

#include <cctype>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace test {

// Every identifier starting with `prefix` that is followed (after blanks) by "(" in the header:
// the functions (struct and typedef names are never followed by a parenthesis there).
inline std::set<std::string> declaredFunctions(std::string const& headerPath,
                                               std::string const& prefix) {
    std::ifstream in(headerPath);
    std::ostringstream text;
    text << in.rdbuf();
    std::string const source = text.str();
    auto isWordByte = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
    };
    std::set<std::string> names;
    for (std::size_t at = source.find(prefix); at != std::string::npos;
         at = source.find(prefix, at + 1)) {
        if (at > 0 && isWordByte(source[at - 1]))
            continue; // inside a longer identifier
        std::size_t end = at + prefix.size();
        while (end < source.size() && isWordByte(source[end]))
            ++end;
        std::size_t next = end;
        while (next < source.size() && std::isspace(static_cast<unsigned char>(source[next])))
            ++next;
        if (next < source.size() && source[next] == '(')
            names.insert(source.substr(at, end - at));
    }
    return names;
}

} // namespace test
