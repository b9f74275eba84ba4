// SensorManager: enumeration through the measurement-device and sensor libraries, and the changes.
#include "device/sensor_manager.h"

#include "device/device_lists.h"
#include "device/sensor_library.h"
#include "loader/loaders.h"
#include "platform/meterlink.h"
#include "platform/pelto.h"

#include <cinttypes>
#include <cstdio>
#include <string>

namespace kavri::device {

namespace {

constexpr char const* kSensorChangedEvent = "sensorChanged";
constexpr char const* kSerialSensorChangedEvent = "serialSensorChanged";

std::string hex16(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, value);
    return text;
}

// The device id as a signed decimal number ("Add 42", "Remove -1").
std::string logName(Sensor const& sensor) {
    return std::to_string(static_cast<std::int32_t>(sensor.deviceID));
}

} // namespace

pocketjson::Value ConvertSensorArrayToJsonArray(std::vector<Sensor> const& sensors) {
    pocketjson::Value array(pocketjson::Type::Array);
    for (Sensor const& sensor : sensors) {
        pocketjson::Value item(pocketjson::Type::Object);
        item["deviceID"] = pocketjson::Value(sensor.deviceID);
        item["individualID"] = pocketjson::Value(hex16(sensor.individualID));
        array.push_back(item);
    }
    return array;
}

void DispatchSensorChangeEvent(char const* event, std::vector<Sensor> const& added,
                               std::vector<Sensor> const& removed) {
    if (added.empty() && removed.empty())
        return;
    DispatchDeviceChangeEvent(event, ConvertSensorArrayToJsonArray(added),
                              ConvertSensorArrayToJsonArray(removed));
}

void CheckSensorsUpdate(char const* event, std::vector<Sensor> const& before,
                        std::vector<Sensor> const& after, std::vector<Sensor>* added,
                        std::vector<Sensor>* removed) {
    CollectChanges(event,
                   CompareDeviceLists(before, after,
                                      [](Sensor const& a, Sensor const& b) { return a == b; }),
                   added, removed, logName,
                   [](Sensor const& sensor) { ForgetSensor(sensor.deviceID); });
}

// Never destroyed, like the monitor manager: hot-plug tasks may outlive static destruction's
// start at exit until the watcher's teardown stops them.
SensorManager& SensorManager::Instance() {
    static SensorManager* const instance = new SensorManager();
    return *instance;
}

SensorManager::SensorManager() : sensors(getCurrentSensors()), serialSensors(getCurrentSerialSensors()) {}

std::vector<Sensor> SensorManager::getCurrentSensors() const {
    SensorLibraryLock const sensorsHeld;
    std::vector<Sensor> current;
    std::uint32_t deviceID = 0;
    std::uint64_t individualID = 0;
    for (std::uint32_t index = 0; MDEnumConnectedDevices(index, &deviceID, &individualID) >= 0;
         ++index)
        current.push_back(Sensor{deviceID, individualID});
    return current;
}

std::vector<Sensor> SensorManager::getCurrentSerialSensors() const {
    std::vector<Sensor> current;
    auto enumerate = KAVRI_LOOKUP(PeltoLoader::loader(), PeltoEnumConnectedSerialSensors);
    if (enumerate == nullptr)
        return current;
    std::uint32_t deviceID = 0;
    for (std::uint32_t index = 0; enumerate(index, &deviceID) >= 0; ++index)
        current.push_back(Sensor{deviceID, 0});
    return current;
}

void SensorManager::update(std::vector<Sensor>* added, std::vector<Sensor>* removed) {
    std::lock_guard<std::recursive_mutex> const held(mutex_);
    std::vector<Sensor> current = getCurrentSensors();
    CheckSensorsUpdate(kSensorChangedEvent, sensors, current, added, removed);
    sensors = std::move(current);
}

void SensorManager::serialUpdate(std::vector<Sensor>* added, std::vector<Sensor>* removed) {
    std::lock_guard<std::recursive_mutex> const held(mutex_);
    if (KAVRI_LOOKUP(PeltoLoader::loader(), PeltoEnumConnectedSerialSensors) == nullptr)
        return;
    std::vector<Sensor> current = getCurrentSerialSensors();
    CheckSensorsUpdate(kSerialSensorChangedEvent, serialSensors, current, added, removed);
    serialSensors = std::move(current);
}

void SensorManager::dispatchSensorChangeEvent(std::vector<Sensor> const& added,
                                              std::vector<Sensor> const& removed) {
    DispatchSensorChangeEvent(kSensorChangedEvent, added, removed);
}

void SensorManager::serialDispatchSensorChangeEvent(std::vector<Sensor> const& added,
                                                    std::vector<Sensor> const& removed) {
    DispatchSensorChangeEvent(kSerialSensorChangedEvent, added, removed);
}

void SensorManager::updateAndDispatchEvent() {
    std::vector<Sensor> added;
    std::vector<Sensor> removed;
    update(&added, &removed);
    dispatchSensorChangeEvent(added, removed);
}

void SensorManager::serialUpdateAndDispatchEvent() {
    std::vector<Sensor> added;
    std::vector<Sensor> removed;
    serialUpdate(&added, &removed);
    serialDispatchSensorChangeEvent(added, removed);
}

} // namespace kavri::device
