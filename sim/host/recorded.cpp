// Reading back what the stand-ins recorded: settled promises, pushed events and log lines.
#include "sim/host/recorded.h"

#include "sim/host/exports_directory.h"

#include <cstring>
#include <dlfcn.h>
#include <utility>

namespace sim::host {

namespace {

constexpr char kLoggingFile[] = "libostrana2_x64.so";

std::string text(char const* s) {
    return s != nullptr ? s : "";
}

} // namespace

std::vector<Response> responses(std::size_t from) {
    std::vector<Response> out;
    Response r;
    char const* json = nullptr;
    for (std::size_t i = from; SimPageBridgeResponseAt(i, &r.promiseId, &r.statusCode, &json) == 0;
         ++i) {
        r.json = text(json);
        out.push_back(r);
    }
    return out;
}

std::vector<Event> events(std::size_t from) {
    std::vector<Event> out;
    char const* name = nullptr;
    char const* json = nullptr;
    for (std::size_t i = from; SimPageBridgeEventAt(i, &name, &json) == 0; ++i)
        out.push_back(Event{text(name), text(json)});
    return out;
}

std::string loggingLibraryIn(std::string directory) {
    if (!directory.empty() && directory.back() == '/')
        directory.pop_back();
    return directory + "/" + kLoggingFile;
}

LoggingStandIn::LoggingStandIn(std::string path)
    : path_(std::move(path)), handle_(dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr)
        return;
    bool const ok =
        find(reset_, "SimOstranaReset") && find(setAvailable_, "SimOstranaSetAvailable") &&
        find(setEcho_, "SimOstranaSetEcho") && find(lineCount_, "SimOstranaLineCount") &&
        find(lineAt_, "SimOstranaLineAt") && find(waitForLines_, "SimOstranaWaitForLines") &&
        find(getLoggerCalls_, "SimOstranaGetLoggerCallCount") &&
        find(violations_, "SimOstranaViolationCount");
    if (!ok) {
        dlclose(handle_);
        handle_ = nullptr;
    }
}

LoggingStandIn::LoggingStandIn() : LoggingStandIn(loggingLibraryIn(standInDirectory())) {}

LoggingStandIn::~LoggingStandIn() {
    if (handle_ != nullptr)
        dlclose(handle_);
}

template <typename F>
bool LoggingStandIn::find(F& function, char const* name) {
    void* const symbol = dlsym(handle_, name);
    static_assert(sizeof function == sizeof symbol, "function and data pointers differ");
    std::memcpy(&function, &symbol, sizeof function);
    return function != nullptr;
}

void LoggingStandIn::reset() const {
    if (loaded())
        reset_();
}

void LoggingStandIn::setAvailable(bool available) const {
    if (loaded())
        setAvailable_(available ? 1 : 0);
}

void LoggingStandIn::setEcho(bool echo) const {
    if (loaded())
        setEcho_(echo ? 1 : 0);
}

std::size_t LoggingStandIn::count() const {
    return loaded() ? lineCount_() : 0;
}

std::vector<LogLine> LoggingStandIn::lines(std::size_t from) const {
    std::vector<LogLine> out;
    LogLine l;
    char const* name = nullptr;
    char const* line = nullptr;
    for (std::size_t i = from; loaded() && lineAt_(i, &l.level, &name, &line) == 0; ++i) {
        l.name = text(name);
        l.line = text(line);
        out.push_back(l);
    }
    return out;
}

bool LoggingStandIn::waitForLines(std::size_t count, std::chrono::milliseconds timeout) const {
    return loaded() && waitForLines_(count, static_cast<std::uint32_t>(timeout.count())) != 0;
}

std::size_t LoggingStandIn::getLoggerCalls() const {
    return loaded() ? getLoggerCalls_() : 0;
}

std::size_t LoggingStandIn::violations() const {
    return loaded() ? violations_() : 0;
}

std::vector<LogLine> logLines() {
    return LoggingStandIn().lines();
}

} // namespace sim::host
