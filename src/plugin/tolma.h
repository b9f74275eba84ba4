/* The C interface that libtolma.so.2 exports to its host. */
#ifndef TOLMA_TOLMA_H
#define TOLMA_TOLMA_H

#include "plugin/resources.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Saved desktop power settings, owned by the caller between Disable and Restore. */
typedef struct TolmaPowerManagementBackup TolmaPowerManagementBackup;

/* One function per resource of TOLMA_RESOURCES: options (with "method"), parameters, query and
   body, each JSON text or NULL. The answer settles the returned promise through the page bridge
   before the function returns. */
#define TOLMA_DECLARE_RESOURCE(Name, Methods)                                                      \
    int Name(const char* a1, const char* a2, const char* a3, const char* a4);
TOLMA_RESOURCES(TOLMA_DECLARE_RESOURCE)
#undef TOLMA_DECLARE_RESOURCE

/* Called once after loading, and before unloading: after TearDown no thread of the plug-in runs
   until the page asks again. */
void Setup(void);
void TearDown(void);

void TolmaResetSystemIdleTimer(void);
TolmaPowerManagementBackup* TolmaDisablePowerManagementSettings(void);
void TolmaRestorePowerManagementSettings(TolmaPowerManagementBackup* backup);

#ifdef __cplusplus
}
#endif

#endif
