// libtolma.so.2 opened as a host opens it, its Setup and TearDown, and the functions a host knows.
#pragma once

#include <cstring>
#include <string>
#include <vector>

namespace sim::host {

using ResourceFunction = int (*)(char const*, char const*, char const*, char const*);

// A resource function and the methods it serves (letters G get, U put, P post, D delete).
struct ResourceRow {
    char const* name;
    char const* methods;
};

// The plug-in's resource functions, in the order of its header, and the other functions a host
// calls: both expanded from the plug-in's one list.
std::vector<ResourceRow> const& resources();
std::vector<std::string> const& resourceNames();
std::vector<std::string> const& extraFunctionNames();
bool isResource(std::string const& name);

// The file opened with dlopen(path, RTLD_NOW | RTLD_LOCAL): its names stay out of the global
// scope, as in a host that loads several plug-ins. The destructor ends it as a host does: TearDown
// when Setup ran and TearDown has not since, then dlclose.
class Plugin {
public:
    Plugin() = default;
    ~Plugin();
    Plugin(Plugin const&) = delete;
    Plugin& operator=(Plugin const&) = delete;

    // False, with dlerror's text in error(), when the file cannot be opened. A file opened before
    // is closed first, as close() closes it.
    bool open(std::string const& path);
    bool isOpen() const { return handle_ != nullptr; }
    std::string const& path() const { return path_; }
    std::string const& error() const { return error_; }

    // Setup and TearDown, each called once per call here; false when the plug-in is not open or
    // does not export the function.
    bool setup();
    bool tearDown();

    // dlclose alone, without TearDown (as a host that unloads the plug-in abruptly). dlclose's
    // result (0 when nothing was open); the handle is dropped either way.
    int close();

    // The exported name; nullptr when it is missing or the plug-in is not open.
    void* symbol(std::string const& name) const;
    template <typename F>
    F function(std::string const& name) const {
        void* const address = symbol(name);
        F f = nullptr;
        static_assert(sizeof f == sizeof address, "function and data pointers differ");
        std::memcpy(&f, &address, sizeof f);
        return f;
    }
    // A resource function of the list above; nullptr for any other name or when not exported.
    ResourceFunction resource(std::string const& name) const;

private:
    bool call(char const* name);

    std::string path_;
    std::string error_;
    void* handle_ = nullptr;
    bool setUp_ = false;
};

} // namespace sim::host
