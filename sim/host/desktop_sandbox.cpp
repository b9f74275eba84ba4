// The desktop sandbox: a scratch HOME and GSettings in memory while a host under test runs.
#include "sim/host/desktop_sandbox.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace sim::host {

DesktopSandbox::Saved DesktopSandbox::save(char const* name) {
    char const* value = std::getenv(name);
    return {name, value != nullptr ? std::optional<std::string>(value) : std::nullopt};
}

void DesktopSandbox::restore(Saved const& saved) {
    if (saved.value)
        setenv(saved.name, saved.value->c_str(), 1);
    else
        unsetenv(saved.name);
}

DesktopSandbox::DesktopSandbox()
    : savedHome_(save("HOME")), savedBackend_(save("GSETTINGS_BACKEND")),
      savedBus_(save("DBUS_SESSION_BUS_ADDRESS")), savedDisplay_(save("DISPLAY")) {
    char pattern[] = "/tmp/tolma-home-XXXXXX";
    if (mkdtemp(pattern) != nullptr) {
        home_ = pattern;
        setenv("HOME", home_.c_str(), 1);
    }
    setenv("GSETTINGS_BACKEND", "memory", 1);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DISPLAY");
}

DesktopSandbox::~DesktopSandbox() {
    restore(savedHome_);
    restore(savedBackend_);
    restore(savedBus_);
    restore(savedDisplay_);
    if (!home_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(home_, ignored);
    }
}

} // namespace sim::host
