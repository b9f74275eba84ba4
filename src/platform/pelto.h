/* Sensor library (libpelto.so, through dlsym only; every function optional). */
#ifndef TOLMA_PLATFORM_PELTO_H
#define TOLMA_PLATFORM_PELTO_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Every function is thread-safe: the monitor update and the sensor update call it from different
   threads, and the sensor update calls PeltoGetHandleForDeviceID and PeltoRemoveSensor without
   holding the library's lock. Sensor handles are owned by the library and used at once. */

/* Sensor handle; NULL = none. */
typedef struct PeltoSensor PeltoSensor;
/* Repeated from vqc.h (identical typedef). */
typedef struct VqHidDevice VqHidDevice;

/* Blocks until the calling thread holds the library's lock; recursive; result ignored. */
int32_t PeltoLockSensors(void);

/* Releases one level; result ignored. */
int32_t PeltoUnlockSensors(void);

/* A monitor known before the search; result ignored. */
int32_t PeltoPreUpdateBuiltInSensorHandle(const char* serial, const char* product);

/* A monitor known after the search; result ignored. */
int32_t PeltoUpdateBuiltInSensorHandle(const char* serial, const char* product);

/* *sensor := the monitor's built-in sensor, NULL when none (always written); result ignored. */
int32_t PeltoGetHandleForHIDHandle(VqHidDevice* hidHandle, PeltoSensor** sensor);

/* *sensor := the sensor with that device id, NULL when none (always written); result ignored. */
int32_t PeltoGetHandleForDeviceID(uint32_t deviceId, PeltoSensor** sensor);

/* Forgets the sensor; the handle is invalid afterwards; result ignored. */
int32_t PeltoRemoveSensor(PeltoSensor* sensor);

/* >= 0: *deviceId written; negative: no serial sensor at that index (untouched). */
int32_t PeltoEnumConnectedSerialSensors(uint32_t index, uint32_t* deviceId);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_PLATFORM_PELTO_H */
