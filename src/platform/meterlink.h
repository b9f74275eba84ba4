/* Measurement devices (libmeterlink_x64.so.2, linked): enumeration of the connected sensors. */
#ifndef TOLMA_PLATFORM_METERLINK_H
#define TOLMA_PLATFORM_METERLINK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Called only under the plug-in's sensor mutex or during the sensor manager's construction. */

/* >= 0: both outputs written (always both); negative: no sensor at that index, outputs untouched.
   Live enumeration of the connected USB sensors, monitors' built-in sensors included; indices
   0..n-1 without gaps. */
int32_t MDEnumConnectedDevices(uint32_t index, uint32_t* deviceId, uint64_t* individualId);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_PLATFORM_METERLINK_H */
