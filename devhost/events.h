// Events the plug-in pushes through the page bridge: printed as they come, kept for "wait event".
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace tolmahost {

struct PushedEvent {
    std::string name;
    std::string json;
};

// An event as the event stream hands it on: numbered from 1 in the order pushed, with the wall
// clock time it arrived (milliseconds since 1970).
struct StreamedEvent {
    std::uint64_t number = 0;
    double unixMilliseconds = 0;
    PushedEvent event;
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

    // The events numbered above `after` still kept for streams (the last kKeptStreamed), oldest
    // first; waits up to `timeout` while there is none. Empty after the timeout or once closed.
    std::vector<StreamedEvent> streamedAfter(std::uint64_t after,
                                            std::chrono::milliseconds timeout);
    // Wakes every stream waiting in streamedAfter and makes it answer at once from now on.
    void closeStreams();
    bool streamsClosed();

private:
    EventBoard() = default;

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<PushedEvent> events_;
    std::deque<StreamedEvent> streamed_;
    std::uint64_t lastNumber_ = 0;
    bool streamsClosed_ = false;
};

} // namespace tolmahost
