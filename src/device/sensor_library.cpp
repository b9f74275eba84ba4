// The sensor library's lock, through the sensor-library loader.
#include "device/sensor_library.h"

#include "loader/loaders.h"
#include "platform/pelto.h"

namespace kavri::device {

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

} // namespace kavri::device
