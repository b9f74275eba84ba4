// The plug-in's exports directory: the stand-ins' folder, or a folder composed from it.
#include "sim/host/exports_directory.h"

#include "sim/sim_control.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace sim::host {

namespace {

namespace fs = std::filesystem;

bool isNamed(std::string const& file, std::string const& name) {
    return file == name || file == "lib" + name + ".so" || file == "lib" + name + "_x64.so";
}

} // namespace

std::string standInDirectory() {
    return TOLMA_SIM_LIBRARY_DIR;
}

ExportsDirectory::ExportsDirectory(std::string const& source,
                                   std::vector<std::string> const& absent,
                                   std::vector<Replacement> const& replaced) {
    using Problem = ExportsError::Problem;
    std::error_code error;
    if (source.empty() || !fs::is_directory(source, error))
        throw ExportsError(Problem::NotADirectory, "",
                           "exports directory '" + source + "' is not a directory");
    path_ = source;
    if (absent.empty() && replaced.empty())
        return;

    std::vector<fs::path> files;
    for (fs::directory_entry const& entry : fs::directory_iterator(source, error))
        files.push_back(entry.path());
    if (error)
        throw ExportsError(Problem::CannotList, "", "cannot list the exports directory " + source);
    for (std::string const& name : absent) {
        bool const found = std::any_of(files.begin(), files.end(), [&name](fs::path const& p) {
            return isNamed(p.filename().string(), name);
        });
        if (!found)
            throw ExportsError(Problem::UnknownLibrary, name,
                               name + ": no such library in " + source);
    }
    char pattern[] = "/tmp/tolma-exports-XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw ExportsError(Problem::CannotCompose, "", "cannot make a temporary exports directory");
    path_ = pattern;
    composed_ = true;
    for (fs::path const& file : files) {
        std::string const fileName = file.filename().string();
        bool const isAbsent =
            std::any_of(absent.begin(), absent.end(),
                        [&fileName](std::string const& name) { return isNamed(fileName, name); });
        bool const isReplaced =
            std::any_of(replaced.begin(), replaced.end(),
                        [&fileName](Replacement const& r) { return r.name == fileName; });
        if (!isAbsent && !isReplaced)
            fs::create_symlink(fs::absolute(file), fs::path(path_) / fileName, error);
    }
    for (Replacement const& r : replaced)
        fs::create_symlink(fs::absolute(r.file), fs::path(path_) / r.name, error);
}

ExportsDirectory::~ExportsDirectory() {
    if (composed_) {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
}

ExportsPathScope::ExportsPathScope(std::string const& path) {
    SimHostSetExportsPath(path.c_str());
}

ExportsPathScope::~ExportsPathScope() {
    SimHostUseEnvironmentExportsPath();
}

} // namespace sim::host
