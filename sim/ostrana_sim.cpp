// Stand-in for the logging library: one process-wide logger that records every line it is given.
#pragma GCC visibility push(default)
#include "platform/ostrana2.h"
#include "sim/sim_control.h"
#pragma GCC visibility pop
#include "sim/records.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>

struct OstranaLogger {
    int unused;
};

namespace {

bool echoFromEnvironment() {
    char const* const value = std::getenv("TOLMA_SIM_OSTRANA_ECHO");
    return value != nullptr && value[0] != '\0' && std::strcmp(value, "0") != 0;
}

struct State {
    std::mutex mutex;
    std::condition_variable grown;
    OstranaLogger logger{0};
    bool available = true;
    bool echo = echoFromEnvironment();
    std::size_t getLoggerCalls = 0;
    std::size_t violations = 0;
    std::deque<sim::LogLine> lines; // a deque never moves its elements: pointers stay valid
};

// Never destroyed: the plug-in may log from its own static destructors at exit.
State& state() {
    static State* const instance = new State;
    return *instance;
}

void reportViolation(State& s, char const* what) {
    ++s.violations;
    std::fprintf(stderr, "ostrana sim: %s\n", what);
}

} // namespace

extern "C" {

OstranaLogger* ostrana_get_logger(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    ++s.getLoggerCalls;
    return s.available ? &s.logger : nullptr;
}

void ostrana_log(OstranaLogger* logger, const char* name, int32_t level, const char* line) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (logger != &s.logger) {
        reportViolation(s, "ostrana_log with a logger that ostrana_get_logger did not return");
        return;
    }
    if (name == nullptr || line == nullptr) {
        reportViolation(s, "ostrana_log with a NULL name or line");
        return;
    }
    s.lines.push_back(sim::LogLine{level, name, line});
    if (s.echo)
        std::fprintf(stderr, "[%s] %d: %s\n", name, level, line);
    s.grown.notify_all();
}

void SimOstranaReset(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.available = true;
    s.getLoggerCalls = 0;
    s.violations = 0;
    s.lines.clear();
}

void SimOstranaSetAvailable(int32_t available) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.available = available != 0;
}

void SimOstranaSetEcho(int32_t echo) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.echo = echo != 0;
}

size_t SimOstranaLineCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.lines.size();
}

int32_t SimOstranaLineAt(size_t index, int32_t* level, const char** name, const char** line) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (index >= s.lines.size())
        return -1;
    *level = s.lines[index].level;
    *name = s.lines[index].name.c_str();
    *line = s.lines[index].line.c_str();
    return 0;
}

int32_t SimOstranaWaitForLines(size_t count, uint32_t timeoutMs) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    bool const reached = s.grown.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                          [&] { return s.lines.size() >= count; });
    return reached ? 1 : 0;
}

size_t SimOstranaGetLoggerCallCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.getLoggerCalls;
}

size_t SimOstranaViolationCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.violations;
}

} // extern "C"
