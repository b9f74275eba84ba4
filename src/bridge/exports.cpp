// Everything libtolma.so.2 exports: one line per resource over its class, and the extra calls.
#include "bridge/tolma.h"
#include "notification/device_notification.h"
#include "notification/native_event_filter.h"
#include "screen/screens.h"
#include "system/power_management.h"
#include "system/system_resources.h"

#include <new>

#define TOLMA_EXPORT extern "C" __attribute__((visibility("default")))

#define TOLMA_RESOURCE(Name)                                                                       \
    TOLMA_EXPORT int Name(char const* a1, char const* a2, char const* a3, char const* a4) {        \
        return Serve<kavri::bridge::Name>(a1, a2, a3, a4);                                         \
    }

TOLMA_RESOURCE(DeviceNotification)
TOLMA_RESOURCE(Screens)
TOLMA_RESOURCE(ScreenAtIndex)
TOLMA_RESOURCE(ScreensForMonitor)
TOLMA_RESOURCE(ScreensForPoint)
TOLMA_RESOURCE(PowerManagementSettings)
TOLMA_RESOURCE(SystemInformation)
TOLMA_RESOURCE(SystemProcesses)
TOLMA_RESOURCE(SystemUSBDevices)
TOLMA_RESOURCE(SystemApplications)
TOLMA_RESOURCE(SystemApplicationWindows)
TOLMA_RESOURCE(SystemKEXT)
TOLMA_RESOURCE(SystemPrinters)
TOLMA_RESOURCE(SystemLoginState)
TOLMA_RESOURCE(SystemLockState)
TOLMA_RESOURCE(SystemScreenSaver)
TOLMA_RESOURCE(SystemPreferredLanguage)
TOLMA_RESOURCE(SystemLoginItem)
TOLMA_RESOURCE(SystemEventLogBackup)

TOLMA_EXPORT void Setup(void) {
    kavri::notification::RegisterSystemChangeNotification();
}

TOLMA_EXPORT void TearDown(void) {
    kavri::notification::UnregisterSystemChangeNotification();
    kavri::notification::UnregisterDeviceChangeNotification();
    // The host may unload the plug-in next: no delayed screen re-read may still be waiting or
    // running in its code.
    kavri::notification::CancelPendingScreenUpdates();
}

// The idle timer needs no reset on this platform.
TOLMA_EXPORT void TolmaResetSystemIdleTimer(void) {}

// The desktop settings are not written by this build yet: the record says nothing was saved.
TOLMA_EXPORT TolmaPowerManagementBackup* TolmaDisablePowerManagementSettings(void) {
    return new (std::nothrow) TolmaPowerManagementBackup();
}

TOLMA_EXPORT void TolmaRestorePowerManagementSettings(TolmaPowerManagementBackup* backup) {
    delete backup;
}
