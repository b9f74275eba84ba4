// test::PluginLibrary: libtolma.so.2 opened by path as a host opens it, and its functions by name.
#pragma once

#include <cstring>
#include <dlfcn.h>
#include <string>

namespace test {

using ResourceFunction = int (*)(char const*, char const*, char const*, char const*);

class PluginLibrary {
public:
    // dlopen(path, RTLD_NOW | RTLD_LOCAL); false, with dlerror's text in error(), when it fails.
    bool open(char const* path) {
        handle_ = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        error_ = handle_ == nullptr ? dlerror() : "";
        return handle_ != nullptr;
    }
    // dlclose's result (0 on success); the handle is dropped either way.
    int close() {
        void* const handle = handle_;
        handle_ = nullptr;
        return handle == nullptr ? 0 : dlclose(handle);
    }
    bool isOpen() const { return handle_ != nullptr; }
    std::string const& error() const { return error_; }

    // The exported function as type F; null when it is not exported or the plug-in is closed.
    template <typename F>
    F function(char const* name) const {
        void* const symbol = handle_ == nullptr ? nullptr : dlsym(handle_, name);
        F f = nullptr;
        static_assert(sizeof f == sizeof symbol, "function and data pointers differ");
        std::memcpy(&f, &symbol, sizeof f);
        return f;
    }
    ResourceFunction resource(char const* name) const { return function<ResourceFunction>(name); }

    // Setup and TearDown as a host calls them; false when the function is not exported.
    bool setup() const { return call("Setup"); }
    bool tearDown() const { return call("TearDown"); }

private:
    bool call(char const* name) const {
        auto const f = function<void (*)()>(name);
        if (f != nullptr)
            f();
        return f != nullptr;
    }

    void* handle_ = nullptr;
    std::string error_;
};

} // namespace test
