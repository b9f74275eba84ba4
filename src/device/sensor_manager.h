// kavri::device::SensorManager: the USB and serial measurement sensors and their changes.
#pragma once

#include "json/value.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace kavri::device {

// One sensor; the same sensor when both ids are equal. Serial sensors have individualID 0.
struct Sensor {
    std::uint32_t deviceID = 0;
    std::uint64_t individualID = 0;
};

inline bool operator==(Sensor const& a, Sensor const& b) {
    return a.deviceID == b.deviceID && a.individualID == b.individualID;
}

// [{"deviceID": integer, "individualID": 16 lower-case hex digits}, ...] in list order.
pocketjson::Value ConvertSensorArrayToJsonArray(std::vector<Sensor> const& sensors);
// Pushes `event` with {"added": ..., "removed": ...}; nothing when both are empty.
void DispatchSensorChangeEvent(char const* event, std::vector<Sensor> const& added,
                               std::vector<Sensor> const& removed);
// Appends the sensors of `after` missing from `before` to `added` and logs "Add <deviceID>", then
// the sensors of `before` missing from `after` to `removed`: the sensor library forgets each
// (looked up by device id) and "Remove <deviceID>" is logged. A null side is left alone.
void CheckSensorsUpdate(char const* event, std::vector<Sensor> const& before,
                        std::vector<Sensor> const& after, std::vector<Sensor>* added,
                        std::vector<Sensor>* removed);

// Stores the last USB list (measurement-device library) and the last serial list (sensor
// library); mutex_ guards both and is taken before the sensor library's lock. A USB update never
// touches the serial list and the other way round. Events go out with mutex_ released.
class SensorManager {
public:
    static SensorManager& Instance();

    std::vector<Sensor> getCurrentSensors() const;
    // Empty when the sensor library does not export its serial enumeration.
    std::vector<Sensor> getCurrentSerialSensors() const;

    void update(std::vector<Sensor>* added, std::vector<Sensor>* removed);
    // Does nothing when the sensor library does not export its serial enumeration.
    void serialUpdate(std::vector<Sensor>* added, std::vector<Sensor>* removed);
    void dispatchSensorChangeEvent(std::vector<Sensor> const& added,
                                   std::vector<Sensor> const& removed);
    void serialDispatchSensorChangeEvent(std::vector<Sensor> const& added,
                                         std::vector<Sensor> const& removed);
    void updateAndDispatchEvent();
    void serialUpdateAndDispatchEvent();

private:
    SensorManager();

    std::vector<Sensor> sensors;
    std::vector<Sensor> serialSensors;
    std::recursive_mutex mutex_;
};

} // namespace kavri::device
