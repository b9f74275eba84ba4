// Keeps what the plug-in writes to the desktop off the machine a test or fuzzing host runs on.
#pragma once

#include <optional>
#include <string>

namespace sim::host {

// For its lifetime: HOME is a fresh scratch directory (autostart entries and GConf land there),
// GSettings writes stay in the process (the memory back end), and neither a session bus nor an
// X display is reached (no pointer warp on the machine's screen, and no bus autolaunched from
// it).
// Afterwards the variables are as before and the scratch directory is gone. Set it up before the
// plug-in first touches GSettings: GIO keeps its back end for the life of the process.
class DesktopSandbox {
public:
    DesktopSandbox();
    ~DesktopSandbox();
    DesktopSandbox(DesktopSandbox const&) = delete;
    DesktopSandbox& operator=(DesktopSandbox const&) = delete;

    // Empty when the scratch directory could not be made (HOME is then left as it was).
    std::string const& home() const { return home_; }

private:
    struct Saved {
        char const* name;
        std::optional<std::string> value;
    };
    static Saved save(char const* name);
    static void restore(Saved const& saved);

    std::string home_;
    Saved savedHome_;
    Saved savedBackend_;
    Saved savedBus_;
    Saved savedDisplay_;
};

} // namespace sim::host
