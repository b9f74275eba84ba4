// DynamicLibrary: dlopen, dlsym and dlclose; the only place besides the loaders that sees
// <dlfcn.h>.
#include "loader/dynamic_library.h"

#include "platform/hostplug.h"

#include <dlfcn.h>

namespace kavri {

DynamicLibrary::~DynamicLibrary() {
    void* h = handle_.exchange(nullptr);
    if (h != nullptr)
        dlclose(h);
}

void DynamicLibrary::release() {
    void* h = handle_.exchange(nullptr);
    if (h != nullptr)
        dlclose(h);
}

void DynamicLibrary::throw_function_not_found_error() const {}

bool DynamicLibrary::open(fs::Path const& file) {
    if (handle() != nullptr)
        return true;
    void* h = dlopen(file.str().c_str(), RTLD_LAZY);
    if (h == nullptr)
        return false;
    void* expected = nullptr;
    if (!handle_.compare_exchange_strong(expected, h)) {
        dlclose(h); // another thread opened it first; keep one reference
        return true;
    }
    path_ = file;
    return true;
}

bool DynamicLibrary::openInExportsDirectory(char const* fileName) {
    char const* directory = Plg_GetRegistryExportsPath();
    if (directory == nullptr || *directory == '\0')
        return false;
    return open(fs::Path(directory) / fileName);
}

void* DynamicLibrary::lookupSymbol(char const* name) const {
    return dlsym(handle(), name);
}

} // namespace kavri
