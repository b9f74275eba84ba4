// Stand-in for the host's plug-in support library: the exports directory, set or from environment.
#pragma GCC visibility push(default)
#include "platform/hostplug.h"
#include "sim/sim_control.h"
#pragma GCC visibility pop

#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

namespace {

enum class Source { Environment, Fixed, Null };

struct State {
    std::mutex mutex;
    Source source = Source::Environment;
    char const* fixed = "";
    // Every answer ever given, so that each stays valid for the life of the process ([P]). The
    // set only grows by distinct texts, and a node-based set never moves its strings.
    std::set<std::string> answers;
};

State& state() {
    static State* const instance = new State;
    return *instance;
}

char const* keep(State& s, std::string const& text) {
    return s.answers.insert(text).first->c_str();
}

} // namespace

extern "C" {

const char* Plg_GetRegistryExportsPath(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    switch (s.source) {
    case Source::Fixed:
        return s.fixed;
    case Source::Null:
        return nullptr;
    case Source::Environment:
        break;
    }
    char const* const value = std::getenv(SIM_EXPORTS_DIR_VARIABLE);
    return keep(s, value != nullptr ? value : "");
}

void SimHostSetExportsPath(const char* path) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.source = Source::Fixed;
    s.fixed = keep(s, path != nullptr ? path : "");
}

void SimHostSetExportsPathNull(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.source = Source::Null;
}

void SimHostUseEnvironmentExportsPath(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.source = Source::Environment;
}

} // extern "C"
