// The exports directory handed to the plug-in: checked, or composed without absent libraries.
#include "devhost/exports_directory.h"

#include "devhost/host_error.h"
#include "sim/sim_control.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tolmahost {

namespace {

namespace fs = std::filesystem;

bool isNamed(std::string const& file, std::string const& name) {
    return file == name || file == "lib" + name + ".so" || file == "lib" + name + "_x64.so";
}

} // namespace

ExportsDirectory::ExportsDirectory(std::string const& directory,
                                   std::vector<std::string> const& absent) {
    std::error_code error;
    if (directory.empty() || !fs::is_directory(directory, error))
        throw HostError("exports directory '" + directory + "' is not a directory");
    path_ = directory;
    if (!absent.empty()) {
        std::vector<fs::path> files;
        for (fs::directory_entry const& entry : fs::directory_iterator(directory, error))
            files.push_back(entry.path());
        if (error)
            throw HostError("cannot list the exports directory " + directory);
        for (std::string const& name : absent) {
            bool const found = std::any_of(files.begin(), files.end(), [&name](fs::path const& p) {
                return isNamed(p.filename().string(), name);
            });
            if (!found)
                throw HostError("--absent " + name + ": no such library in " + directory);
        }
        char pattern[] = "/tmp/tolmahost-exports-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            throw HostError("cannot make a temporary exports directory");
        path_ = pattern;
        composed_ = true;
        for (fs::path const& file : files) {
            std::string const fileName = file.filename().string();
            bool const isAbsent =
                std::any_of(absent.begin(), absent.end(), [&fileName](std::string const& name) {
                    return isNamed(fileName, name);
                });
            if (!isAbsent)
                fs::create_symlink(fs::absolute(file), fs::path(path_) / fileName, error);
        }
    }
    SimHostSetExportsPath(path_.c_str());
}

ExportsDirectory::~ExportsDirectory() {
    SimHostUseEnvironmentExportsPath();
    if (composed_) {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
}

} // namespace tolmahost
