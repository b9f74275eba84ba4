// Events the plug-in pushes through the page bridge: printed as they come, kept for "wait event".
#include "devhost/events.h"

#include "devhost/printer.h"
#include "sim/sim_control.h"

#include <algorithm>

namespace tolmahost {

namespace {

// More unclaimed events than anyone scrolls through: the oldest are dropped.
constexpr std::size_t kKeptEvents = 10000;
// What a stream that starts late still sees.
constexpr std::size_t kKeptStreamed = 1000;

double unixMilliseconds() {
    std::chrono::duration<double, std::milli> const since =
        std::chrono::system_clock::now().time_since_epoch();
    return since.count();
}

void onBridgeRecord(void* user, std::int32_t kind, std::int32_t, std::int32_t, char const* name,
                    char const* json) {
    if (kind != SIM_PAGEBRIDGE_EVENT)
        return;
    try {
        std::string const eventName = name != nullptr ? name : "";
        std::string const payload = json != nullptr ? json : "";
        Printer::instance().event(eventName, payload);
        static_cast<EventBoard*>(user)->record(eventName, payload);
    } catch (...) {
        // Called from the plug-in's threads through C code: nothing may escape.
    }
}

} // namespace

EventBoard& EventBoard::instance() {
    static EventBoard* const board = new EventBoard;
    return *board;
}

void EventBoard::listen() {
    SimPageBridgeSetListener(&onBridgeRecord, this);
}

void EventBoard::stopListening() {
    SimPageBridgeSetListener(nullptr, nullptr);
}

void EventBoard::record(std::string const& name, std::string const& json) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(PushedEvent{name, json});
        if (events_.size() > kKeptEvents)
            events_.pop_front();
        streamed_.push_back(StreamedEvent{++lastNumber_, unixMilliseconds(), PushedEvent{name, json}});
        if (streamed_.size() > kKeptStreamed)
            streamed_.pop_front();
    }
    arrived_.notify_all();
}

bool EventBoard::waitFor(std::string const& name, std::chrono::milliseconds timeout,
                         PushedEvent& out) {
    auto const matches = [&name](PushedEvent const& e) { return name == "*" || e.name == name; };
    std::unique_lock<std::mutex> lock(mutex_);
    auto found = events_.end();
    bool const arrivedInTime = arrived_.wait_for(lock, timeout, [&] {
        found = std::find_if(events_.begin(), events_.end(), matches);
        return found != events_.end();
    });
    if (!arrivedInTime)
        return false;
    out = *found;
    events_.erase(events_.begin(), found + 1);
    return true;
}

std::vector<StreamedEvent> EventBoard::streamedAfter(std::uint64_t after,
                                                     std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    arrived_.wait_for(lock, timeout, [&] { return streamsClosed_ || lastNumber_ > after; });
    std::vector<StreamedEvent> out;
    if (streamsClosed_)
        return out;
    for (StreamedEvent const& e : streamed_) {
        if (e.number > after)
            out.push_back(e);
    }
    return out;
}

void EventBoard::closeStreams() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        streamsClosed_ = true;
    }
    arrived_.notify_all();
}

bool EventBoard::streamsClosed() {
    std::lock_guard<std::mutex> lock(mutex_);
    return streamsClosed_;
}

std::vector<PushedEvent> EventBoard::pending() {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::vector<PushedEvent>(events_.begin(), events_.end());
}

} // namespace tolmahost
