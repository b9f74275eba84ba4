// DynamicLibrary: one shared object opened at run time, and typed symbol lookup.
#pragma once

#include "fs/path.h"

#include <atomic>
#include <cstring>
#include <string>

namespace kavri {

class DynamicLibrary {
public:
    DynamicLibrary() = default;
    DynamicLibrary(DynamicLibrary const&) = delete;
    DynamicLibrary& operator=(DynamicLibrary const&) = delete;
    // Closes the library like release().
    virtual ~DynamicLibrary();

    // Closes the library if it is open; the next open starts afresh.
    virtual void release();
    // Ends the request with 404 "FunctionNotFoundError" in the loaders; does nothing here.
    virtual void throw_function_not_found_error() const;

    // dlopen(path, RTLD_LAZY); on success keeps the handle and the path. An open library stays
    // as it is.
    bool open(fs::Path const& file);
    // Opens `fileName` in the host's exports directory; nothing when the host names none.
    bool openInExportsDirectory(char const* fileName);

    // The dlopen handle, null while closed. A null handle given to lookup() searches the
    // process's default scope.
    void* handle() const { return handle_.load(std::memory_order_acquire); }
    fs::Path const& path() const { return path_; }

    // dlsym(handle(), name) at the moment of use, converted to the declared function type.
    // Null when the symbol is missing.
    template <typename FunctionPointer>
    FunctionPointer lookup(char const* name) const {
        void* symbol = lookupSymbol(name);
        FunctionPointer function = nullptr;
        static_assert(sizeof function == sizeof symbol, "function and data pointers differ");
        std::memcpy(&function, &symbol, sizeof function);
        return function;
    }

    // As lookup(), but a missing symbol ends the request through throw_function_not_found_error.
    template <typename FunctionPointer>
    FunctionPointer require(char const* name) const {
        FunctionPointer function = lookup<FunctionPointer>(name);
        if (function == nullptr)
            throw_function_not_found_error();
        return function;
    }

private:
    void* lookupSymbol(char const* name) const;

    fs::Path path_;
    // Written without a lock by concurrent first opens; atomic so that such races stay defined.
    std::atomic<void*> handle_{nullptr};
};

} // namespace kavri

// Resolves `name` through `library` as the prototype declared for it, e.g.
// KAVRI_LOOKUP(kavri::libscrinfo2Loader::loader(), MiGetScreenPixelRatio).
#define KAVRI_LOOKUP(library, name) ((library).lookup<decltype(&name)>(#name))
#define KAVRI_REQUIRE(library, name) ((library).require<decltype(&name)>(#name))
