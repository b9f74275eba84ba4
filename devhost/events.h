// Events the plug-in pushes through the page bridge: printed as they come, kept for "wait event".
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace tolmahost {

struct PushedEvent {
    std::string name;
    std::string json;
};

// Listens to the page-bridge stand-in. Never destroyed: a plug-in thread may still push an event
// after the host removed its listener.
class EventBoard {
public:
    static EventBoard& instance();

    // Starts (stops) printing and keeping events pushed from now on.
    void listen();
    void stopListening();

    // Waits for the oldest kept event named `name` ("*": any), forgets it and every event before
    // it, and returns it. False after `timeout` without one.
    bool waitFor(std::string const& name, std::chrono::milliseconds timeout, PushedEvent& out);

    // The events kept and not yet waited for, oldest first.
    std::vector<PushedEvent> pending();

    void record(std::string const& name, std::string const& json);

private:
    EventBoard() = default;

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<PushedEvent> events_;
};

} // namespace tolmahost
