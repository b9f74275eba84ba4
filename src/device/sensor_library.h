// The sensor library's lock, and its forgetting of sensors, used where the library exports them.
#pragma once

#include "platform/vqc.h"

#include <cstdint>

namespace kavri::device {

// PeltoLockSensors on construction and PeltoUnlockSensors on destruction, each looked up at that
// moment and skipped when the library does not export it. A lock that was not taken (the library
// was opened only in between) is not released.
class SensorLibraryLock {
public:
    SensorLibraryLock();
    ~SensorLibraryLock();
    SensorLibraryLock(SensorLibraryLock const&) = delete;
    SensorLibraryLock& operator=(SensorLibraryLock const&) = delete;

private:
    bool locked_ = false;
};

// The sensor library forgets the built-in sensor of a monitor (by its HID handle) or the sensor
// with a device id. Nothing happens when the library knows no such sensor or lacks the lookup or
// PeltoRemoveSensor.
void ForgetBuiltInSensor(VqHidDevice* hidHandle);
void ForgetSensor(std::uint32_t deviceID);

} // namespace kavri::device
