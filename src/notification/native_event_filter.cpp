// The screen-change watcher: RandR event test, debounce, and delayed screen re-reads.
#include "notification/native_event_filter.h"

#include "bridge/tolma_logger.h"
#include "fs/date_time.h"
#include "platform/scrinfo2.h"
#include "screen/screen_manager.h"

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

std::uint64_t monotonicTicks() {
    return fs::Clock().ticks();
}

} // namespace

ScreenWatchActions DefaultScreenWatchActions() {
    ScreenWatchActions actions;
    actions.now = monotonicTicks;
    actions.delay = std::chrono::microseconds(3000000);
    actions.update = [] { screen::ScreenManager::Instance().updateAndDispatchEvent(); };
    return actions;
}

NativeEventFilterLinux& NativeEventFilterLinux::Instance() {
    // What the re-reads use is made first, so that it is destroyed after the watcher has stopped
    // them at exit.
    static bool const ready = (screen::ScreenManager::Instance(), TolmaLogger::Instance(), true);
    static NativeEventFilterLinux instance;
    (void)ready;
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
    updates_.cancelAll();
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
    std::uint64_t const now = actions_.now();
    if ((now - lastStart_) / fs::Clock::kTicksPerMillisecond <= kDebounceMilliseconds)
        return;
    updates_.start(actions_.delay, actions_.update);
    lastStart_ = now;
}

void NativeEventFilterLinux::setScreenNotificationEnabled(bool enabled) {
    enabled_.store(enabled);
}

void NativeEventFilterLinux::cancelPendingUpdates() {
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

void CancelPendingScreenUpdates() {
    if (NativeEventFilterLinux* watcher = NativeEventFilterLinux::Existing())
        watcher->cancelPendingUpdates();
}

} // namespace kavri::notification
