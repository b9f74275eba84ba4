// The sensor library's process-wide lock, taken and released only where the library exports it.
#pragma once

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

} // namespace kavri::device
