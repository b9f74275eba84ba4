// The exports directory handed to the plug-in: checked, or composed without absent libraries.
#pragma once

#include <string>
#include <vector>

namespace tolmahost {

// The directory Plg_GetRegistryExportsPath answers while it lives. With absent libraries, a
// temporary folder holds a link to every file of `directory` but those, and is removed at the
// end. A name is absent as given ("libpelto.so") or short ("pelto": libpelto.so,
// libpelto_x64.so). Throws a HostError when `directory` is not a folder, a name matches no file,
// or the folder cannot be made.
class ExportsDirectory {
public:
    ExportsDirectory(std::string const& directory, std::vector<std::string> const& absent);
    ~ExportsDirectory();
    ExportsDirectory(ExportsDirectory const&) = delete;
    ExportsDirectory& operator=(ExportsDirectory const&) = delete;

    std::string const& path() const { return path_; }

private:
    std::string path_;
    bool composed_ = false;
};

} // namespace tolmahost
