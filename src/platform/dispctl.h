/* Monitor control, run-time part (libdispctl_x64.so, through dlsym only): lighting devices. */
#ifndef TOLMA_PLATFORM_DISPCTL_H
#define TOLMA_PLATFORM_DISPCTL_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Called only under the plug-in's lighting mutex, one thread at a time. The kind-16 list is the
   result of the last VqUpdateEx(16); the library searches once when it is loaded. */

/* Device handle of this library (distinct from VqHidDevice). */
typedef struct VqDevice VqDevice;

#define VQ_KIND_LIGHTING 16u
#define VQ_PAGE_FIXED 0xFF23u
#define VQ_CODE_PRODUCT 1u
#define VQ_CODE_SERIAL 2u
/* = -2147483642: data may be truncated but is usable; counts as success. */
#define VQ_STATUS_PARTIAL ((int32_t)0x80000006)

/* Req (404 when missing). >= 0: *device set, valid until the next VqUpdateEx(kind); negative: no
   device at that index (device untouched). */
int32_t VqRetrieveEx(uint32_t kind, uint32_t index, VqDevice** device);

/* Searches devices of that kind again; result ignored. */
int32_t VqUpdateEx(uint32_t kind);

/* Describes the item; *dataLength := its size in bytes (no NUL counted); info0..info3 are in/out
   values with the library's meaning (the plug-in presets 0, 0, 0, 1 and ignores them); >= 0 or
   VQ_STATUS_PARTIAL = success, any other negative = failure. */
int32_t VqGetFixedData(VqDevice* device, uint16_t page, uint16_t code, uint8_t* info0,
                       uint64_t* info1, uint64_t* info2, uint8_t* info3, uint64_t* dataLength);

/* Copies min(bufferLength, item size) bytes and appends no NUL; VQ_STATUS_PARTIAL when truncated;
   other negative = failure. */
int32_t VqGetFeatureArray(VqDevice* device, uint16_t page, uint16_t code, uint8_t* buffer,
                          uint64_t bufferLength);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_PLATFORM_DISPCTL_H */
