// The world's C controls (SimWorld... in sim/sim_control.h) over sim::world().
#include "sim/sim_control.h"
#include "sim/world/world.h"

#include <string>

namespace {

// The message of the last failed control on this thread, or the last SimWorldText.
thread_local std::string t_text;

char const* result(std::string const& error) {
    if (error.empty())
        return nullptr;
    t_text = error;
    return t_text.c_str();
}

std::string text(char const* s) {
    return s != nullptr ? std::string(s) : std::string();
}

} // namespace

extern "C" {

const char* SimWorldLoad(const char* json) {
    if (json == nullptr)
        return result("the world text is NULL");
    return result(sim::world().load(json));
}

const char* SimWorldLoadFile(const char* path) {
    if (path == nullptr)
        return result("the world file path is NULL");
    return result(sim::world().loadFile(path));
}

void SimWorldReset(void) {
    sim::world().reset();
}

const char* SimWorldText(int32_t pretty) {
    t_text = sim::worldToJson(*sim::world().snapshot(), pretty != 0);
    return t_text.c_str();
}

const char* SimWorldPatch(const char* json) {
    return result(sim::world().patch(text(json)));
}

const char* SimWorldSetScreens(const char* json) {
    return result(sim::world().setScreens(text(json)));
}

const char* SimWorldAdd(const char* collection, const char* json) {
    return result(sim::world().add(text(collection), text(json)));
}

const char* SimWorldRemove(const char* collection, const char* id) {
    return result(sim::world().remove(text(collection), text(id)));
}

const char* SimWorldModify(const char* collection, const char* id, const char* json) {
    return result(sim::world().modify(text(collection), text(id), text(json)));
}

const char* SimWorldSetAttached(const char* collection, const char* id, int32_t attached) {
    return result(sim::world().setAttached(text(collection), text(id), attached != 0));
}

uint64_t SimWorldGeneration(void) {
    return sim::world().generations().world;
}

void SimWorldFailCalls(const char* function, int32_t count) {
    if (function != nullptr)
        sim::world().failCalls(function, count);
}

void SimWorldClearFailures(void) {
    sim::world().clearFailures();
}

int32_t SimWorldPendingFailures(const char* function) {
    return function != nullptr ? sim::world().pendingFailures(function) : 0;
}

size_t SimWorldDeliverScreenEvent(uint8_t offset) {
    return sim::world().deliverScreenEvent(offset);
}

} // extern "C"
