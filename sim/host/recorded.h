// Reading back what the stand-ins recorded: settled promises, pushed events and log lines.
#pragma once

#include "sim/records.h"
#include "sim/sim_control.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim::host {

// The page-bridge stand-in's answers and events from index `from` on, in call order.
std::vector<Response> responses(std::size_t from = 0);
std::vector<Event> events(std::size_t from = 0);

// The logging stand-in's file in an exports directory (one trailing separator dropped).
std::string loggingLibraryIn(std::string directory);

// The logging stand-in's controls, reached through dlopen of the file the plug-in opens: a
// library that is already loaded is not loaded again, so both see one instance (and the stand-in
// is never unloaded). loaded() is false when the file or a control is missing; every other member
// then does nothing and returns an empty result.
class LoggingStandIn {
public:
    // The file, e.g. loggingLibraryIn(exports directory).
    explicit LoggingStandIn(std::string path);
    // The one in the build's folder of stand-ins.
    LoggingStandIn();
    ~LoggingStandIn();
    LoggingStandIn(LoggingStandIn const&) = delete;
    LoggingStandIn& operator=(LoggingStandIn const&) = delete;

    bool loaded() const { return handle_ != nullptr; }
    std::string const& path() const { return path_; }

    // SimOstranaReset, SimOstranaSetAvailable, SimOstranaSetEcho.
    void reset() const;
    void setAvailable(bool available) const;
    void setEcho(bool echo) const;

    // The lines recorded, and those from index `from` on, in call order.
    std::size_t count() const;
    std::vector<LogLine> lines(std::size_t from = 0) const;
    // True once at least `count` lines are recorded; false after `timeout`.
    bool waitForLines(std::size_t count, std::chrono::milliseconds timeout) const;

    std::size_t getLoggerCalls() const;
    std::size_t violations() const;

private:
    template <typename F>
    bool find(F& function, char const* name);

    std::string path_;
    void* handle_ = nullptr;
    decltype(&SimOstranaReset) reset_ = nullptr;
    decltype(&SimOstranaSetAvailable) setAvailable_ = nullptr;
    decltype(&SimOstranaSetEcho) setEcho_ = nullptr;
    decltype(&SimOstranaLineCount) lineCount_ = nullptr;
    decltype(&SimOstranaLineAt) lineAt_ = nullptr;
    decltype(&SimOstranaWaitForLines) waitForLines_ = nullptr;
    decltype(&SimOstranaGetLoggerCallCount) getLoggerCalls_ = nullptr;
    decltype(&SimOstranaViolationCount) violations_ = nullptr;
};

// The lines of the build's logging stand-in, in call order.
std::vector<LogLine> logLines();

} // namespace sim::host
