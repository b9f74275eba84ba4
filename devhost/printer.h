// Everything the host prints: answers, log lines, events and its own notes, from any thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>

namespace sim::host {
class LoggingStandIn;
} // namespace sim::host

namespace tolmahost {

// Writes whole lines to standard output under one lock, so that events pushed by the plug-in's
// threads never cut into an answer. In a session each line starts with the seconds since the
// host started, "[   3.215] ". Never destroyed: a plug-in thread may still print at exit.
class Printer {
public:
    static Printer& instance();

    void setTimestamps(bool on);
    // Log lines come from `log` (NULL: none) from its current end on; `show` false skips them.
    void setLogSource(sim::host::LoggingStandIn const* log, bool show);
    // Shown again after anything printed while the session waits for a command ("" = none).
    void setPrompt(std::string prompt);
    void showPrompt();
    void promptAnswered();

    // Each line of `text`, with the time stamp in a session.
    void print(std::string const& text);
    // "status N", then the answer, compact or indented.
    void answer(std::int32_t status, std::string const& json, bool pretty);
    // "event NAME JSON".
    void event(std::string const& name, std::string const& json);
    // The log lines written since the last flush, "log [NAME] LEVEL: LINE".
    void flushLog();

private:
    Printer();
    void printLocked(std::string const& text);
    void flushLogLocked();
    void interruptPromptLocked();
    void restorePromptLocked();

    std::mutex mutex_;
    std::chrono::steady_clock::time_point const start_;
    bool timestamps_ = false;
    sim::host::LoggingStandIn const* log_ = nullptr;
    bool showLog_ = true;
    std::size_t logCursor_ = 0;
    std::string prompt_;
    bool promptShowing_ = false;
};

} // namespace tolmahost
