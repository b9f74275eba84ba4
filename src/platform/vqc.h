/* Monitor control over HID (libvqc_x64.so.1, linked): the list of attached monitors. */
#ifndef TOLMA_PLATFORM_VQC_H
#define TOLMA_PLATFORM_VQC_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Called only under the plug-in's monitor mutex, one thread at a time. The list is the result of
   the last search; the library searches once when it is loaded. */

/* The monitor's HID handle. */
typedef struct VqHidDevice VqHidDevice;

/* The plug-in passes 0, 0; searches the buses and replaces the list; result ignored. */
int32_t VqCtrlFind(uint32_t reserved1, uint32_t reserved2);

/* Number of monitors in the list of the last search; 0 = none. */
uint64_t VqCtrlGetNumMonitors(void);

/* serial buffer 9 bytes, product buffer 17 bytes, both NUL-terminated on success; negative on
   failure (the plug-in cleared the buffers before the call and skips the index). */
int32_t VqCtrlGetSerialProduct(uint64_t index, char* serial, char* product);

/* Writes the handle of the listed monitor with that serial and product; none -> *handle = NULL and
   negative; result ignored; the handle is valid until the next VqCtrlFind. */
int32_t VqCtrlGetHIDHandle(const char* serial, const char* product, VqHidDevice** handle);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_PLATFORM_VQC_H */
