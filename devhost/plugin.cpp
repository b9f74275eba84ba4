// libtolma.so.2 opened with dlopen as a real host opens it, and the functions a host knows.
#include "devhost/plugin.h"

#include "plugin/tolma.h"
#include "devhost/host_error.h"

#include <algorithm>
#include <dlfcn.h>

namespace tolmahost {

std::vector<std::string> const& knownResources() {
#define TOLMA_RESOURCE_NAME(Name, Methods) #Name,
    static std::vector<std::string> const names = {TOLMA_RESOURCES(TOLMA_RESOURCE_NAME)};
#undef TOLMA_RESOURCE_NAME
    return names;
}

bool isKnownResource(std::string const& name) {
    std::vector<std::string> const& names = knownResources();
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<std::string> const& knownExtraFunctions() {
#define TOLMA_FUNCTION_NAME(Name) #Name,
    static std::vector<std::string> const names = {TOLMA_EXTRA_FUNCTIONS(TOLMA_FUNCTION_NAME)};
#undef TOLMA_FUNCTION_NAME
    return names;
}

Plugin::Plugin(std::string path) : path_(std::move(path)) {
    // RTLD_LOCAL: the plug-in's names stay out of the global scope, as in a host that loads
    // several plug-ins.
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle_ == nullptr) {
        char const* reason = dlerror();
        throw HostError("cannot load the plug-in: " +
                        std::string(reason != nullptr ? reason : path_.c_str()));
    }
    setup_ = reinterpret_cast<decltype(&Setup)>(symbol("Setup"));
    tearDown_ = reinterpret_cast<decltype(&TearDown)>(symbol("TearDown"));
    if (setup_ == nullptr || tearDown_ == nullptr) {
        dlclose(handle_);
        handle_ = nullptr;
        throw HostError(path_ + " does not export Setup and TearDown");
    }
}

Plugin::~Plugin() {
    tearDown();
    if (handle_ != nullptr)
        dlclose(handle_);
}

void Plugin::setup() {
    if (setUp_)
        return;
    setup_();
    setUp_ = true;
}

void Plugin::tearDown() {
    if (!setUp_)
        return;
    setUp_ = false;
    tearDown_();
}

ResourceFunction Plugin::resource(std::string const& name) const {
    if (!isKnownResource(name))
        return nullptr;
    return reinterpret_cast<ResourceFunction>(symbol(name));
}

void* Plugin::symbol(std::string const& name) const {
    return handle_ != nullptr ? dlsym(handle_, name.c_str()) : nullptr;
}

} // namespace tolmahost
