// libtolma.so.2 opened with dlopen as a real host opens it, and the functions a host knows.
#pragma once

#include <string>
#include <vector>

namespace tolmahost {

using ResourceFunction = int (*)(char const*, char const*, char const*, char const*);

// The resource functions a host knows, in the order of the plug-in's header.
std::vector<std::string> const& knownResources();
bool isKnownResource(std::string const& name);

// The other functions a host calls.
std::vector<std::string> const& knownExtraFunctions();

// The loaded plug-in. Loading resolves Setup and TearDown; the destructor calls TearDown when
// Setup ran and TearDown did not, then unloads the file.
class Plugin {
public:
    // Throws a HostError naming the file and dlerror() when it cannot be opened, or when Setup or
    // TearDown is not exported.
    explicit Plugin(std::string path);
    ~Plugin();
    Plugin(Plugin const&) = delete;
    Plugin& operator=(Plugin const&) = delete;

    std::string const& path() const { return path_; }
    void setup();
    void tearDown();

    // NULL when the plug-in does not export it.
    ResourceFunction resource(std::string const& name) const;
    void* symbol(std::string const& name) const;

private:
    std::string path_;
    void* handle_ = nullptr;
    void (*setup_)() = nullptr;
    void (*tearDown_)() = nullptr;
    bool setUp_ = false;
};

} // namespace tolmahost
