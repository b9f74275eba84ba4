// Hiding an installed shared library from one child process: the file it loads from, and a wrapper.
#pragma once

#include <string>
#include <vector>

namespace test {

// The file the dynamic loader opens for `name` (e.g. "libusb-1.0.so.0"), or "" when none opens.
std::string loadedLibraryFile(char const* name);

// A command prefix that runs the program in a user and mount namespace of its own with /dev/null
// mounted over `file`, so that the library cannot be opened there. Empty `file`: no prefix.
std::vector<std::string> hidingWrapper(std::string const& file);

// Whether this machine lets a test make such a namespace (unshare present and allowed).
bool canHideLibraries();

} // namespace test
