// One run of the host: the exports directory, the event listener, the plug-in set up and torn down.
#pragma once

#include "plugin/tolma.h"
#include "devhost/command_line.h"
#include "sim/host/exports_directory.h"
#include "sim/host/plugin.h"
#include "sim/host/recorded.h"

#include <memory>
#include <mutex>
#include <string>

namespace tolmahost {

// Starting: the exports directory (without the absent libraries), the world file if one was
// given, the logging library, the event listener, dlopen and Setup. Ending (destructor): the saved
// power settings restored, TearDown, dlclose, the listener removed. With `narrate` each step is
// printed as "host: ...".
class Session {
public:
    Session(HostOptions options, bool narrating);
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    sim::host::Plugin& plugin() { return *plugin_; }
    // The logging library the plug-in writes through (loaded() false when there is none).
    sim::host::LoggingStandIn const& log() const { return *log_; }
    // Held while a request runs: requests take turns, whichever thread sends them.
    std::mutex& requestTurn() { return requestTurn_; }
    HostOptions const& options() const { return options_; }

    // Prints "host: TEXT" when narrating.
    void narrate(std::string const& text) const;

    // The three extra functions of the plug-in. Throw a HostError when one is not exported or,
    // for restorePowerSettings, when nothing was saved.
    void resetIdleTimer();
    void disablePowerSettings();
    void restorePowerSettings();

private:
    // Events are printed while it lives; its end also stops reading the logging library.
    class Listening {
    public:
        explicit Listening(sim::host::LoggingStandIn const& log, bool showLog);
        ~Listening();
        Listening(Listening const&) = delete;
        Listening& operator=(Listening const&) = delete;
    };

    HostOptions options_;
    bool narrate_;
    std::unique_ptr<sim::host::ExportsDirectory> exports_;
    std::unique_ptr<sim::host::ExportsPathScope> exportsPath_;
    std::unique_ptr<sim::host::LoggingStandIn> log_;
    std::unique_ptr<Listening> listening_;
    std::unique_ptr<sim::host::Plugin> plugin_;
    TolmaPowerManagementBackup* powerBackup_ = nullptr;
    bool powerSaved_ = false;
    std::mutex requestTurn_;
};

} // namespace tolmahost
