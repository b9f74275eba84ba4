// One run of the host: the exports directory, the event listener, the plug-in set up and torn down.
#include "devhost/session.h"

#include "devhost/events.h"
#include "devhost/host_error.h"
#include "devhost/printer.h"
#include "devhost/world_control.h"

#include <cstdio>

namespace tolmahost {

namespace {

// The exports directory, with the host's wording of what is wrong with it.
std::unique_ptr<sim::host::ExportsDirectory> exportsDirectory(HostOptions const& options) {
    try {
        return std::make_unique<sim::host::ExportsDirectory>(options.exportsDirectory,
                                                             options.absentLibraries);
    } catch (sim::host::ExportsError const& error) {
        if (error.problem() == sim::host::ExportsError::Problem::UnknownLibrary)
            throw HostError(std::string("--absent ") + error.what());
        throw HostError(error.what());
    }
}

// Loaded, with Setup and TearDown exported, or a HostError.
std::unique_ptr<sim::host::Plugin> loadPlugin(std::string const& path) {
    auto plugin = std::make_unique<sim::host::Plugin>();
    if (!plugin->open(path))
        throw HostError("cannot load the plug-in: " +
                        (plugin->error().empty() ? path : plugin->error()));
    if (plugin->symbol("Setup") == nullptr || plugin->symbol("TearDown") == nullptr)
        throw HostError(path + " does not export Setup and TearDown");
    return plugin;
}

} // namespace

Session::Listening::Listening(sim::host::LoggingStandIn const& log, bool showLog) {
    Printer::instance().setLogSource(&log, showLog);
    EventBoard::instance().listen();
}

Session::Listening::~Listening() {
    EventBoard::instance().stopListening();
    Printer::instance().setLogSource(nullptr, false);
}

Session::Session(HostOptions options, bool narrating)
    : options_(std::move(options)), narrate_(narrating) {
    exports_ = exportsDirectory(options_);
    exportsPath_ = std::make_unique<sim::host::ExportsPathScope>(exports_->path());
    narrate("exports directory " + exports_->path());
    if (!options_.worldFile.empty()) {
        loadWorldFile(options_.worldFile);
        narrate("world " + options_.worldFile);
    }
    log_ =
        std::make_unique<sim::host::LoggingStandIn>(sim::host::loggingLibraryIn(exports_->path()));
    if (!log_->loaded() && options_.showLog)
        std::fprintf(stderr, "tolmahost: no logging library at %s; no log lines are shown\n",
                     log_->path().c_str());
    listening_ = std::make_unique<Listening>(*log_, options_.showLog);
    plugin_ = loadPlugin(options_.pluginPath);
    narrate("loaded " + plugin_->path());
    plugin_->setup();
    narrate("Setup()");
    Printer::instance().flushLog();
}

Session::~Session() {
    try {
        if (powerSaved_) {
            restorePowerSettings();
            narrate("restored the power settings saved by 'power disable'");
        }
        plugin_->tearDown();
        narrate("TearDown()");
        Printer::instance().flushLog();
        plugin_.reset();
        narrate("unloaded " + options_.pluginPath);
    } catch (...) {
        // Ending must not throw; the plug-in is unloaded by its own destructor all the same.
    }
}

void Session::narrate(std::string const& text) const {
    if (narrate_)
        Printer::instance().print("host: " + text);
}

void Session::resetIdleTimer() {
    auto const reset =
        plugin_->function<decltype(&TolmaResetSystemIdleTimer)>("TolmaResetSystemIdleTimer");
    if (reset == nullptr)
        throw HostError(plugin_->path() + " does not export TolmaResetSystemIdleTimer");
    reset();
    narrate("TolmaResetSystemIdleTimer()");
    Printer::instance().flushLog();
}

void Session::disablePowerSettings() {
    auto const disable = plugin_->function<decltype(&TolmaDisablePowerManagementSettings)>(
        "TolmaDisablePowerManagementSettings");
    if (disable == nullptr)
        throw HostError(plugin_->path() + " does not export TolmaDisablePowerManagementSettings");
    if (powerSaved_)
        restorePowerSettings();
    powerBackup_ = disable();
    powerSaved_ = true;
    narrate(std::string("TolmaDisablePowerManagementSettings() saved ") +
            (powerBackup_ != nullptr ? "a record" : "nothing (NULL)"));
    Printer::instance().flushLog();
}

void Session::restorePowerSettings() {
    auto const restore = plugin_->function<decltype(&TolmaRestorePowerManagementSettings)>(
        "TolmaRestorePowerManagementSettings");
    if (restore == nullptr)
        throw HostError(plugin_->path() + " does not export TolmaRestorePowerManagementSettings");
    if (!powerSaved_)
        throw HostError("nothing to restore: run 'power disable' first");
    restore(powerBackup_);
    powerBackup_ = nullptr;
    powerSaved_ = false;
    narrate("TolmaRestorePowerManagementSettings()");
    Printer::instance().flushLog();
}

} // namespace tolmahost
