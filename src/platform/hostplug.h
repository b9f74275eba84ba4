/* Host plug-in support (libhostplug_x64.so.1, linked): the directory of the run-time libraries. */
#ifndef TOLMA_PLATFORM_HOSTPLUG_H
#define TOLMA_PLATFORM_HOSTPLUG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Absolute directory of the run-time libraries, [P], may end in '/'; NULL or "" = unknown: the
   plug-in then opens nothing (the loaders stay closed and logging stays off). Any thread. */
const char* Plg_GetRegistryExportsPath(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_PLATFORM_HOSTPLUG_H */
