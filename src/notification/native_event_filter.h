// kavri::notification::NativeEventFilterLinux: RandR events from the host start screen re-reads.
#pragma once

#include "notification/delayed_tasks.h"
#include "platform/pagebridge.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>

namespace kavri::notification {

// What the watcher does around an accepted event. The product reads the monotonic clock, waits
// 3 s and runs the re-read bound with BindScreenReRead; tests step the clock and shorten the wait.
struct ScreenWatchActions {
    std::function<std::uint64_t()> now;          // ticks of 100 ns
    std::chrono::microseconds delay{3000000};    // from event to re-read
    std::function<void()> update;                // the re-read
};

// The product's actions: fs::Clock, 3 s, and the bound re-read (nothing while none is bound).
ScreenWatchActions DefaultScreenWatchActions();

// What a delayed re-read does in the product. The watcher is mechanism only: the layer that owns
// the screens binds it before it first switches the watch on.
void BindScreenReRead(void (*reRead)());

// Registered with the host for its native events for the whole of its life; the enabled flag
// decides whether RandR events lead to re-reads. Events that arrive 50 ms or less after the last
// accepted one are dropped, so a burst gives one re-read per 50 ms.
class NativeEventFilterLinux : public BridgeHelperEventObserver {
public:
    static NativeEventFilterLinux& Instance();
    // The instance if Instance() has made it; null otherwise (creating it registers with the host).
    static NativeEventFilterLinux* Existing();

    explicit NativeEventFilterLinux(ScreenWatchActions actions = DefaultScreenWatchActions());
    // Removes the host registration, then cancels waiting re-reads and waits for a running one.
    ~NativeEventFilterLinux() override;
    NativeEventFilterLinux(NativeEventFilterLinux const&) = delete;
    NativeEventFilterLinux& operator=(NativeEventFilterLinux const&) = delete;

    void onEvent(char const* name, char const* data) override;
    void setScreenNotificationEnabled(bool enabled);
    // Switches the watch off, drops the re-reads still waiting and waits for one that is running.
    // An event delivered meanwhile starts nothing, so when it returns no re-read runs until the
    // watch is switched on again.
    void stop();
    // Re-reads started and not yet joined.
    std::size_t pendingUpdates() const;

private:
    ScreenWatchActions actions_;
    // Plain flags in a single-threaded host; atomic because requests switch the watch on and off
    // on other threads than the one delivering events.
    std::atomic<bool> enabled_{false};
    std::atomic<std::int32_t> eventBase_{0};
    // Guards lastStart_ and orders a start against stop(): an event that passed the enabled test
    // before stop() either starts its task before stop() cancels, or sees the watch off.
    std::mutex startMutex_;
    std::uint64_t lastStart_;
    DelayedTasks updates_;
};

// Switch the reaction to screen changes on and off; the host registration stays.
void RegisterScreenChangeNotification();
void UnregisterScreenChangeNotification();
// TearDown's step: the watch is off and no screen re-read runs or waits after it returns. Creates
// nothing when the watcher was never made.
void StopScreenChangeNotification();

} // namespace kavri::notification
