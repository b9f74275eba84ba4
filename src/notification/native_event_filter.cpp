// The screen-change watcher: RandR event test, debounce, and delayed screen re-reads.
#include "notification/native_event_filter.h"

#include "fs/date_time.h"
#include "platform/scrinfo2.h"

#include <cstring>

extern "C" __attribute__((visibility("hidden"))) void
BridgeHelperEventObserverCallback(const char* name, const char* data, void* userData) {
    if (userData == nullptr)
        return;
    try {
        static_cast<BridgeHelperEventObserver*>(userData)->onEvent(name, data);
    } catch (...) {
        // The host's event loop must never see an exception of the plug-in.
    }
}

namespace kavri::notification {

namespace {

constexpr char const* kNativeEventName = "_native_xcb_generic_event_t";
constexpr std::uint64_t kDebounceMilliseconds = 50;

std::atomic<NativeEventFilterLinux*> s_instance{nullptr};
std::atomic<void (*)()> s_reRead{nullptr};

std::uint64_t monotonicTicks() {
    return fs::Clock().ticks();
}

} // namespace

ScreenWatchActions DefaultScreenWatchActions() {
    ScreenWatchActions actions;
    actions.now = monotonicTicks;
    actions.delay = std::chrono::microseconds(3000000);
    actions.update = [] {
        if (void (*reRead)() = s_reRead.load(std::memory_order_acquire))
            reRead();
    };
    return actions;
}

void BindScreenReRead(void (*reRead)()) {
    s_reRead.store(reRead, std::memory_order_release);
}

// Destroyed at process exit like every singleton, in reverse order of construction: whoever binds
// the re-read makes what it uses before this instance, so that the destructor below stops the
// re-reads while all of that still exists.
NativeEventFilterLinux& NativeEventFilterLinux::Instance() {
    static NativeEventFilterLinux instance;
    s_instance.store(&instance, std::memory_order_release);
    return instance;
}

NativeEventFilterLinux* NativeEventFilterLinux::Existing() {
    return s_instance.load(std::memory_order_acquire);
}

NativeEventFilterLinux::NativeEventFilterLinux(ScreenWatchActions actions)
    : actions_(std::move(actions)), lastStart_(actions_.now()) {
    BridgeHelperAddEventCallback(BridgeHelperEventObserverCallback,
                                 static_cast<BridgeHelperEventObserver*>(this));
}

NativeEventFilterLinux::~NativeEventFilterLinux() {
    BridgeHelperRemoveEventCallback(BridgeHelperEventObserverCallback,
                                    static_cast<BridgeHelperEventObserver*>(this));
    NativeEventFilterLinux* self = this;
    s_instance.compare_exchange_strong(self, nullptr);
    stop();
}

void NativeEventFilterLinux::onEvent(char const* name, char const* data) {
    if (name == nullptr || std::strcmp(name, kNativeEventName) != 0)
        return;
    std::int32_t base = eventBase_.load();
    if (base == 0) {
        base = MiGetX11ScreenEventBase();
        eventBase_.store(base);
    }
    if (!enabled_.load() || base == 0 || data == nullptr)
        return;
    // The response type with all 8 bits: an event sent by a client (bit 0x80) is not the
    // server's screen change.
    unsigned const responseType = static_cast<unsigned char>(data[0]);
    if (responseType != static_cast<unsigned>(base) &&
        responseType != static_cast<unsigned>(base) + 1)
        return;
    std::lock_guard<std::mutex> const held(startMutex_);
    if (!enabled_.load())
        return; // stop() ran since the test above
    std::uint64_t const now = actions_.now();
    if ((now - lastStart_) / fs::Clock::kTicksPerMillisecond <= kDebounceMilliseconds)
        return;
    updates_.start(actions_.delay, actions_.update);
    lastStart_ = now;
}

void NativeEventFilterLinux::setScreenNotificationEnabled(bool enabled) {
    enabled_.store(enabled);
}

void NativeEventFilterLinux::stop() {
    enabled_.store(false);
    {
        // Waits for an event that is starting a task: it has either started it (cancelled below)
        // or will find the watch off.
        std::lock_guard<std::mutex> const held(startMutex_);
    }
    updates_.cancelAll();
}

std::size_t NativeEventFilterLinux::pendingUpdates() const {
    return updates_.pending();
}

void RegisterScreenChangeNotification() {
    NativeEventFilterLinux::Instance().setScreenNotificationEnabled(true);
}

void UnregisterScreenChangeNotification() {
    NativeEventFilterLinux::Instance().setScreenNotificationEnabled(false);
}

void StopScreenChangeNotification() {
    if (NativeEventFilterLinux* watcher = NativeEventFilterLinux::Existing())
        watcher->stop();
}

} // namespace kavri::notification
