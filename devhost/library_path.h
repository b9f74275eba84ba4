// The fake libusb's folder on the library path, where the plug-in's bare-name dlopen finds it.
#pragma once

#include <string>

namespace tolmahost {

// The dynamic loader reads LD_LIBRARY_PATH once at start, so when `directory` is not its first
// entry the host starts itself again (same process, same arguments) with `directory` put first.
// Returns when nothing needs doing: `directory` empty or not a folder, already first, or the
// restart impossible (then with a note on standard error).
void putFirstOnLibraryPath(std::string const& directory, char** argv);

} // namespace tolmahost
