// The login item: an XDG autostart entry written or removed, and the text of such an entry.
#pragma once

#include <string>

namespace kavri::system {

// What a login item starts, as the page describes it.
struct LoginItem {
    std::string name;
    std::string iconPath;
    std::string description;
    std::string arguments;
    std::string executablePath;
};

// The entry's text: type, name, command line (the arguments after one blank when there are
// any), icon and comment only when given, no terminal, autostart enabled. Nothing is quoted or
// escaped.
std::string LoginItemEntry(LoginItem const& item);

// Writes <home>/.config/autostart/<name>.desktop (creating the directory first), or removes it
// when `enable` is false; removing an entry that is not there succeeds. False when the file
// cannot be written in full or removed.
bool SetLoginItem(bool enable, std::string const& name, std::string const& iconPath,
                  std::string const& description, std::string const& arguments,
                  std::string const& executablePath);

} // namespace kavri::system
