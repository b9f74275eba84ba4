// The DeviceNotification resource over the hot-plug watcher and the three device managers.
#include "notification/device_notification.h"

#include "device/lighting_equipment_manager.h"
#include "device/monitor_manager.h"
#include "device/sensor_manager.h"
#include "notification/device_notification_manager.h"

#include <vector>

namespace kavri::bridge {

namespace {

using pocketjson::Type;
using pocketjson::Value;

template <typename Device, typename Manager, typename Convert>
Value changesOf(Manager& manager, Convert convert) {
    std::vector<Device> added;
    std::vector<Device> removed;
    manager.update(&added, &removed);
    Value changes(Type::Object);
    changes["added"] = convert(added);
    changes["removed"] = convert(removed);
    return changes;
}

} // namespace

BridgeResult DeviceNotification::Get(BridgeData const& data) {
    uri += "DeviceNotification";
    BridgeCheckRequestCondition(data.query.type() == Type::Object && data.query.contains("supports"),
                                "'supports' query is only supported.");
    return BridgeResultOK(Value(notification::SupportsDeviceChangeNotification()));
}

// The serial sensors are not updated here; their changes reach the page as events only.
BridgeResult DeviceNotification::Put(BridgeData const&) {
    uri += "DeviceNotification";
    notification::RegisterDeviceChangeNotification();
    Value answer(Type::Object);
    answer["monitors"] = changesOf<device::Monitor>(device::MonitorManager::Instance(),
                                                    device::ConvertMonitorArrayToJsonArray);
    answer["sensors"] = changesOf<device::Sensor>(device::SensorManager::Instance(),
                                                  device::ConvertSensorArrayToJsonArray);
    answer["lightingEquipments"] = changesOf<device::Light>(
        device::LightingEquipmentManager::Instance(), device::ConvertLightArrayToJsonArray);
    answer["supports"] = notification::SupportsDeviceChangeNotification();
    return BridgeResultOK(answer);
}

BridgeResult DeviceNotification::Delete(BridgeData const&) {
    uri += "DeviceNotification";
    notification::UnregisterDeviceChangeNotification();
    return BridgeResultOK(Value());
}

} // namespace kavri::bridge

namespace kavri::notification {

void RegisterSystemChangeNotification() {}

void UnregisterSystemChangeNotification() {}

} // namespace kavri::notification
