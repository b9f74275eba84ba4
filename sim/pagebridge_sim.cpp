// Stand-in for the host's page-bridge helper: records answers and events, relays native events.
#pragma GCC visibility push(default)
#include "platform/pagebridge.h"
#include "sim/sim_control.h"
#pragma GCC visibility pop
#include "sim/records.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

using sim::Event;
using sim::Response;

// One registration. `running` holds the thread of every call under way, so that a removal can
// wait for the calls on other threads while a callback may still remove itself.
struct Observer {
    BridgeHelperEventCallback callback;
    void* userData;
    bool registered;
    std::vector<std::thread::id> running;
};

struct State {
    std::mutex mutex;
    std::condition_variable changed; // something was recorded or a callback returned
    std::uint32_t nextPromiseId = 1;
    std::unordered_map<std::int32_t, bool> answered; // promise ids handed out -> answered yet
    std::deque<Response> responses; // a deque never moves its elements: pointers stay valid
    std::deque<Event> events;
    std::size_t violations = 0;
    std::vector<std::shared_ptr<Observer>> observers;
    SimPageBridgeListener listener = nullptr;
    void* listenerUser = nullptr;
};

// Never destroyed: the plug-in removes its callback during static destruction at exit, possibly
// after this library's own destructors would have run.
State& state() {
    static State* const instance = new State;
    return *instance;
}

void reportViolation(State& s, char const* what, std::int32_t promiseId) {
    ++s.violations;
    std::fprintf(stderr, "pagebridge sim: %s (promise id %d)\n", what, promiseId);
}

void notifyListener(State& s, std::unique_lock<std::mutex>& lock, std::int32_t kind,
                    std::int32_t promiseId, std::int32_t statusCode, char const* name,
                    char const* json) {
    SimPageBridgeListener const listener = s.listener;
    void* const user = s.listenerUser;
    lock.unlock();
    if (listener != nullptr)
        listener(user, kind, promiseId, statusCode, name, json);
}

int32_t waitForCount(std::size_t count, std::uint32_t timeoutMs,
                     std::size_t (*current)(State const&)) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    bool const reached = s.changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                            [&] { return current(s) >= count; });
    return reached ? 1 : 0;
}

} // namespace

extern "C" {

int32_t BridgeHelperCreatePromiseID(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto const id = static_cast<std::int32_t>(s.nextPromiseId++);
    s.answered[id] = false;
    return id;
}

void BridgeHelperSetResponse(int32_t promiseId, int32_t statusCode, const char* json) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    auto const found = s.answered.find(promiseId);
    if (found == s.answered.end())
        reportViolation(s, "answer for a promise id that was not handed out", promiseId);
    else if (found->second)
        reportViolation(s, "second answer for one promise id", promiseId);
    else
        found->second = true;
    if (json == nullptr)
        reportViolation(s, "answer text is NULL", promiseId);
    s.responses.push_back(Response{promiseId, statusCode, json != nullptr ? json : ""});
    std::string const text = s.responses.back().json;
    s.changed.notify_all();
    notifyListener(s, lock, SIM_PAGEBRIDGE_RESPONSE, promiseId, statusCode, nullptr, text.c_str());
}

void BridgeHelperDispatchEvent(const char* name, const char* json) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    if (name == nullptr)
        reportViolation(s, "event name is NULL", 0);
    if (json == nullptr)
        reportViolation(s, "event payload is NULL", 0);
    s.events.push_back(Event{name != nullptr ? name : "", json != nullptr ? json : ""});
    Event const event = s.events.back();
    s.changed.notify_all();
    notifyListener(s, lock, SIM_PAGEBRIDGE_EVENT, 0, 0, event.name.c_str(), event.json.c_str());
}

void BridgeHelperAddEventCallback(BridgeHelperEventCallback callback, void* userData) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (auto const& observer : s.observers) {
        if (observer->callback == callback && observer->userData == userData)
            return;
    }
    s.observers.push_back(std::make_shared<Observer>(Observer{callback, userData, true, {}}));
}

// Returns once no call of the pair is under way on another thread. A call on this thread (the
// callback removing itself, or any pair removed from inside its own callback) is not waited for.
void BridgeHelperRemoveEventCallback(BridgeHelperEventCallback callback, void* userData) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    auto const found = std::find_if(s.observers.begin(), s.observers.end(), [&](auto const& o) {
        return o->callback == callback && o->userData == userData;
    });
    if (found == s.observers.end())
        return;
    std::shared_ptr<Observer> const observer = *found;
    observer->registered = false;
    s.observers.erase(found);
    auto const self = std::this_thread::get_id();
    s.changed.wait(lock, [&] {
        return std::all_of(observer->running.begin(), observer->running.end(),
                           [&](std::thread::id id) { return id == self; });
    });
}

void SimPageBridgeReset(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.nextPromiseId = 1;
    s.answered.clear();
    s.responses.clear();
    s.events.clear();
    s.violations = 0;
}

void SimPageBridgeSetNextPromiseID(int32_t id) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.nextPromiseId = static_cast<std::uint32_t>(id);
}

size_t SimPageBridgeResponseCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.responses.size();
}

int32_t SimPageBridgeResponseAt(size_t index, int32_t* promiseId, int32_t* statusCode,
                                const char** json) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (index >= s.responses.size())
        return -1;
    Response const& response = s.responses[index];
    *promiseId = response.promiseId;
    *statusCode = response.statusCode;
    *json = response.json.c_str();
    return 0;
}

size_t SimPageBridgeEventCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.events.size();
}

int32_t SimPageBridgeEventAt(size_t index, const char** name, const char** json) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (index >= s.events.size())
        return -1;
    *name = s.events[index].name.c_str();
    *json = s.events[index].json.c_str();
    return 0;
}

int32_t SimPageBridgeWaitForResponses(size_t count, uint32_t timeoutMs) {
    return waitForCount(count, timeoutMs, [](State const& s) { return s.responses.size(); });
}

int32_t SimPageBridgeWaitForEvents(size_t count, uint32_t timeoutMs) {
    return waitForCount(count, timeoutMs, [](State const& s) { return s.events.size(); });
}

size_t SimPageBridgeViolationCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.violations;
}

size_t SimPageBridgeObserverCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.observers.size();
}

size_t SimPageBridgeDeliverNativeEvent(const char* name, const void* data, size_t size) {
    std::vector<char> copy;
    char const* payload = nullptr;
    if (data != nullptr) {
        copy.assign(std::max<std::size_t>(size, 32) + 1, '\0');
        std::memcpy(copy.data(), data, size);
        payload = copy.data();
    }
    State& s = state();
    auto const self = std::this_thread::get_id();
    std::size_t calls = 0;
    std::unique_lock<std::mutex> lock(s.mutex);
    std::vector<std::shared_ptr<Observer>> const snapshot = s.observers;
    for (auto const& observer : snapshot) {
        if (!observer->registered)
            continue;
        observer->running.push_back(self);
        lock.unlock();
        observer->callback(name, payload, observer->userData);
        lock.lock();
        observer->running.erase(
            std::find(observer->running.begin(), observer->running.end(), self));
        ++calls;
        s.changed.notify_all();
    }
    return calls;
}

void SimPageBridgeSetListener(SimPageBridgeListener listener, void* user) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.listener = listener;
    s.listenerUser = user;
}

} // extern "C"
