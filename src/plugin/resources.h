/* The plug-in's one list of exported functions; everything that names them expands these lists. */
#ifndef TOLMA_RESOURCES_H
#define TOLMA_RESOURCES_H

/* X(Name, Methods): one resource function per row, in the host's order. Methods names what the
   resource serves: G get, U put, P post, D delete; any other method answers 405 (an argument
   beyond the request limits answers 400 first). Name is also the class in kavri::bridge that
   serves it. */
#define TOLMA_RESOURCES(X)                                                                         \
    X(DeviceNotification, "GUD")                                                                   \
    X(Screens, "GUD")                                                                              \
    X(ScreenAtIndex, "GUD")                                                                        \
    X(ScreensForMonitor, "GUD")                                                                    \
    X(ScreensForPoint, "GUD")                                                                      \
    X(PowerManagementSettings, "UPD")                                                              \
    X(SystemInformation, "G")                                                                      \
    X(SystemProcesses, "G")                                                                        \
    X(SystemUSBDevices, "G")                                                                       \
    X(SystemApplications, "G")                                                                     \
    X(SystemApplicationWindows, "G")                                                               \
    X(SystemKEXT, "G")                                                                             \
    X(SystemPrinters, "G")                                                                         \
    X(SystemLoginState, "G")                                                                       \
    X(SystemLockState, "G")                                                                        \
    X(SystemScreenSaver, "GD")                                                                     \
    X(SystemPreferredLanguage, "G")                                                                \
    X(SystemLoginItem, "U")                                                                        \
    X(SystemEventLogBackup, "P")

/* X(Name): the other exported functions, in the order a host meets them. */
#define TOLMA_EXTRA_FUNCTIONS(X)                                                                   \
    X(Setup)                                                                                       \
    X(TearDown)                                                                                    \
    X(TolmaResetSystemIdleTimer)                                                                   \
    X(TolmaDisablePowerManagementSettings)                                                         \
    X(TolmaRestorePowerManagementSettings)

#endif
