// The sensor library's lock and sensor removal, through the sensor-library loader.
#include "device/sensor_library.h"

#include "loader/loaders.h"
#include "platform/pelto.h"

namespace kavri::device {

namespace {

// `getHandle(key, &sensor)` finds the sensor; PeltoRemoveSensor forgets it.
template <typename GetHandle, typename Key>
void forget(GetHandle getHandle, Key key) {
    auto remove = KAVRI_LOOKUP(PeltoLoader::loader(), PeltoRemoveSensor);
    if (getHandle == nullptr || remove == nullptr)
        return;
    PeltoSensor* sensor = nullptr;
    getHandle(key, &sensor);
    if (sensor != nullptr)
        remove(sensor);
}

} // namespace

SensorLibraryLock::SensorLibraryLock() {
    if (auto lock = KAVRI_LOOKUP(PeltoLoader::loader(), PeltoLockSensors)) {
        lock();
        locked_ = true;
    }
}

SensorLibraryLock::~SensorLibraryLock() {
    if (!locked_)
        return;
    if (auto unlock = KAVRI_LOOKUP(PeltoLoader::loader(), PeltoUnlockSensors))
        unlock();
}

void ForgetBuiltInSensor(VqHidDevice* hidHandle) {
    forget(KAVRI_LOOKUP(PeltoLoader::loader(), PeltoGetHandleForHIDHandle), hidHandle);
}

void ForgetSensor(std::uint32_t deviceID) {
    forget(KAVRI_LOOKUP(PeltoLoader::loader(), PeltoGetHandleForDeviceID), deviceID);
}

} // namespace kavri::device
