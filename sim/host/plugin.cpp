// libtolma.so.2 opened as a host opens it, its Setup and TearDown, and the functions a host knows.
#include "sim/host/plugin.h"

#include "plugin/resources.h"

#include <algorithm>
#include <dlfcn.h>

namespace sim::host {

std::vector<ResourceRow> const& resources() {
#define TOLMA_RESOURCE_ROW(Name, Methods) ResourceRow{#Name, Methods},
    static std::vector<ResourceRow> const rows = {TOLMA_RESOURCES(TOLMA_RESOURCE_ROW)};
#undef TOLMA_RESOURCE_ROW
    return rows;
}

std::vector<std::string> const& resourceNames() {
#define TOLMA_RESOURCE_NAME(Name, Methods) #Name,
    static std::vector<std::string> const names = {TOLMA_RESOURCES(TOLMA_RESOURCE_NAME)};
#undef TOLMA_RESOURCE_NAME
    return names;
}

std::vector<std::string> const& extraFunctionNames() {
#define TOLMA_FUNCTION_NAME(Name) #Name,
    static std::vector<std::string> const names = {TOLMA_EXTRA_FUNCTIONS(TOLMA_FUNCTION_NAME)};
#undef TOLMA_FUNCTION_NAME
    return names;
}

bool isResource(std::string const& name) {
    std::vector<std::string> const& names = resourceNames();
    return std::find(names.begin(), names.end(), name) != names.end();
}

Plugin::~Plugin() {
    if (setUp_)
        tearDown();
    close();
}

bool Plugin::open(std::string const& path) {
    close();
    path_ = path;
    handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    char const* const reason = handle_ == nullptr ? dlerror() : nullptr;
    error_ = reason != nullptr ? reason : "";
    return handle_ != nullptr;
}

bool Plugin::setup() {
    bool const called = call("Setup");
    setUp_ = setUp_ || called;
    return called;
}

bool Plugin::tearDown() {
    setUp_ = false;
    return call("TearDown");
}

int Plugin::close() {
    setUp_ = false;
    void* const handle = handle_;
    handle_ = nullptr;
    return handle == nullptr ? 0 : dlclose(handle);
}

void* Plugin::symbol(std::string const& name) const {
    return handle_ != nullptr ? dlsym(handle_, name.c_str()) : nullptr;
}

ResourceFunction Plugin::resource(std::string const& name) const {
    return isResource(name) ? function<ResourceFunction>(name) : nullptr;
}

bool Plugin::call(char const* name) {
    auto const f = function<void (*)()>(name);
    if (f != nullptr)
        f();
    return f != nullptr;
}

} // namespace sim::host
