// The plug-in's exports directory: the stand-ins' folder, or a folder composed from it.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace sim::host {

// The build's folder of stand-ins: the tests' exports directory and the host's default one.
std::string standInDirectory();

// A file that the composed folder takes from elsewhere (e.g. a variant built by
// tolma_sim_variant): its name in the folder and the file it links to.
struct Replacement {
    std::string name;
    std::string file;
};

class ExportsError : public std::runtime_error {
public:
    enum class Problem {
        NotADirectory,  // the source is not a folder
        CannotList,     // the source could not be listed
        UnknownLibrary, // an absent name matches no file of the source (library() names it)
        CannotCompose,  // the temporary folder could not be made
    };
    ExportsError(Problem problem, std::string library, std::string const& message)
        : std::runtime_error(message), problem_(problem), library_(std::move(library)) {}
    Problem problem() const { return problem_; }
    std::string const& library() const { return library_; }

private:
    Problem problem_;
    std::string library_;
};

// With nothing absent or replaced, path() is `source` itself. Otherwise it is a temporary folder
// holding a link to every file of `source` but the absent and replaced ones, plus a link for each
// replacement; the folder goes with the object. An absent name matches a file as given
// ("libpelto.so") or short ("pelto": libpelto.so or libpelto_x64.so). Throws an ExportsError.
class ExportsDirectory {
public:
    explicit ExportsDirectory(std::string const& source = standInDirectory(),
                              std::vector<std::string> const& absent = {},
                              std::vector<Replacement> const& replaced = {});
    ~ExportsDirectory();
    ExportsDirectory(ExportsDirectory const&) = delete;
    ExportsDirectory& operator=(ExportsDirectory const&) = delete;

    std::string const& path() const { return path_; }
    // True when path() is a temporary folder of this object's.
    bool composed() const { return composed_; }

private:
    std::string path_;
    bool composed_ = false;
};

// Plg_GetRegistryExportsPath answers `path` while the object lives, then the environment variable
// again.
class ExportsPathScope {
public:
    explicit ExportsPathScope(std::string const& path);
    ~ExportsPathScope();
    ExportsPathScope(ExportsPathScope const&) = delete;
    ExportsPathScope& operator=(ExportsPathScope const&) = delete;
};

} // namespace sim::host
