// Everything libtolma.so.2 exports: one line per resource over its class, and the extra calls.
#include "plugin/tolma.h"

#include "notification/device_notification.h"
#include "notification/device_notification_manager.h"
#include "notification/native_event_filter.h"
#include "screen/screens.h"
#include "system/power_management.h"
#include "system/session_state.h"
#include "system/system_resources.h"

#include <new>

#define TOLMA_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The methods a row of the list serves, as bits: G get, U put, P post, D delete.
constexpr unsigned servedMethods(char const* letters) {
    unsigned bits = 0;
    for (; *letters != '\0'; ++letters) {
        bits |= *letters == 'G'   ? kBridgeGet
                : *letters == 'U' ? kBridgePut
                : *letters == 'P' ? kBridgePost
                : *letters == 'D' ? kBridgeDelete
                                  : 0u;
    }
    return bits;
}

constexpr unsigned kAllMethods = kBridgeGet | kBridgePut | kBridgePost | kBridgeDelete;

} // namespace

// The request cycle answers 405 itself for the operations a class leaves as they are; the list
// and the classes must agree on which those are.
#define TOLMA_DEFINE_RESOURCE(Name, Methods)                                                       \
    static_assert(BridgeDefaultMethods<kavri::bridge::Name>() ==                                   \
                      (kAllMethods & ~servedMethods(Methods)),                                     \
                  #Name " serves other methods than its row in resources.h says");                 \
    TOLMA_EXPORT int Name(char const* a1, char const* a2, char const* a3, char const* a4) {        \
        return Serve<kavri::bridge::Name>(a1, a2, a3, a4);                                         \
    }
TOLMA_RESOURCES(TOLMA_DEFINE_RESOURCE)
#undef TOLMA_DEFINE_RESOURCE

namespace {

// The host's own calls return nothing to report into: whatever fails inside stays here.
template <typename Step>
void guarded(Step step) noexcept {
    try {
        step();
    } catch (...) {
    }
}

} // namespace

TOLMA_EXPORT void Setup(void) {
    guarded([] { kavri::notification::RegisterSystemChangeNotification(); });
}

// The host may unload the plug-in next: afterwards no thread of the plug-in runs (no device
// watcher, no screen re-read waiting or running) until the page asks again.
TOLMA_EXPORT void TearDown(void) {
    guarded([] { kavri::notification::UnregisterSystemChangeNotification(); });
    guarded([] { kavri::notification::StopDeviceChangeNotification(); });
    guarded([] { kavri::notification::StopScreenChangeNotification(); });
}

TOLMA_EXPORT void TolmaResetSystemIdleTimer(void) {
    guarded([] { kavri::system::ResetSystemIdleTimer(); });
}

// Null only when the record itself cannot be made.
TOLMA_EXPORT TolmaPowerManagementBackup* TolmaDisablePowerManagementSettings(void) {
    TolmaPowerManagementBackup* backup = nullptr;
    guarded([&backup] { backup = kavri::system::DisablePowerManagementSettings(); });
    return backup;
}

TOLMA_EXPORT void TolmaRestorePowerManagementSettings(TolmaPowerManagementBackup* backup) {
    guarded([backup] { kavri::system::RestorePowerManagementSettings(backup); });
}
