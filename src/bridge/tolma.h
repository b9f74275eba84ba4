/* The C interface that libtolma.so.2 exports to its host. */
#ifndef TOLMA_TOLMA_H
#define TOLMA_TOLMA_H

#ifdef __cplusplus
extern "C" {
#endif

/* Saved desktop power settings, owned by the caller between Disable and Restore. */
typedef struct TolmaPowerManagementBackup TolmaPowerManagementBackup;

/* One function per resource: options (with "method"), parameters, query and body, each JSON
   text. The answer settles the returned promise through the page bridge before returning. */
int DeviceNotification(const char* a1, const char* a2, const char* a3, const char* a4);
int Screens(const char* a1, const char* a2, const char* a3, const char* a4);
int ScreenAtIndex(const char* a1, const char* a2, const char* a3, const char* a4);
int ScreensForMonitor(const char* a1, const char* a2, const char* a3, const char* a4);
int ScreensForPoint(const char* a1, const char* a2, const char* a3, const char* a4);
int PowerManagementSettings(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemInformation(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemProcesses(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemUSBDevices(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemApplications(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemApplicationWindows(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemKEXT(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemPrinters(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemLoginState(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemLockState(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemScreenSaver(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemPreferredLanguage(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemLoginItem(const char* a1, const char* a2, const char* a3, const char* a4);
int SystemEventLogBackup(const char* a1, const char* a2, const char* a3, const char* a4);

void Setup(void);
void TearDown(void);

void TolmaResetSystemIdleTimer(void);
TolmaPowerManagementBackup* TolmaDisablePowerManagementSettings(void);
void TolmaRestorePowerManagementSettings(TolmaPowerManagementBackup* backup);

#ifdef __cplusplus
}
#endif

#endif
