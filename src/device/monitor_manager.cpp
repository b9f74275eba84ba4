// MonitorManager: the monitor-control library's list, its changes, built-in sensors kept in step.
#include "device/monitor_manager.h"

#include "device/device_lists.h"
#include "device/sensor_library.h"
#include "loader/loaders.h"
#include "platform/pelto.h"

#include <cstdint>

namespace kavri::device {

namespace {

constexpr char const* kMonitorChangedEvent = "monitorChanged";

// Tells the sensor library of each monitor through `tell`, when the library exports it.
template <typename Tell>
void tellSensorLibrary(Tell tell, std::vector<Monitor> const& monitors) {
    if (tell == nullptr)
        return;
    for (Monitor const& monitor : monitors)
        tell(monitor.serial.c_str(), monitor.product.c_str());
}

} // namespace

pocketjson::Value ConvertMonitorArrayToJsonArray(std::vector<Monitor> const& monitors) {
    return SerialProductArrayToJson(monitors);
}

// Never destroyed: a hot-plug task may still be updating while exit() destroys statics; the
// watcher's own teardown stops those tasks first.
MonitorManager& MonitorManager::Instance() {
    static MonitorManager* const instance = new MonitorManager();
    return *instance;
}

std::vector<Monitor> MonitorManager::getCurrentMonitorsWithoutUpdate() const {
    std::vector<Monitor> monitors;
    std::uint64_t const count = VqCtrlGetNumMonitors();
    for (std::uint64_t index = 0; index < count; ++index) {
        char serial[9] = {};
        char product[17] = {};
        if (VqCtrlGetSerialProduct(index, serial, product) < 0)
            continue;
        // The library terminates both texts; the last byte stays NUL whatever it wrote.
        serial[8] = '\0';
        product[16] = '\0';
        Monitor monitor;
        VqCtrlGetHIDHandle(serial, product, &monitor.hidHandle);
        monitor.serial = serial;
        monitor.product = product;
        monitors.push_back(std::move(monitor));
    }
    return monitors;
}

void MonitorManager::update(std::vector<Monitor>* added, std::vector<Monitor>* removed) {
    std::lock_guard<std::recursive_mutex> const held(mutex_);
    SensorLibraryLock const sensorsHeld;
    std::vector<Monitor> const before = getCurrentMonitorsWithoutUpdate();
    tellSensorLibrary(KAVRI_LOOKUP(PeltoLoader::loader(), PeltoPreUpdateBuiltInSensorHandle),
                      before);
    VqCtrlFind(0, 0);
    std::vector<Monitor> const after = getCurrentMonitorsWithoutUpdate();
    tellSensorLibrary(KAVRI_LOOKUP(PeltoLoader::loader(), PeltoUpdateBuiltInSensorHandle), after);

    CollectChanges(kMonitorChangedEvent,
                   CompareDeviceLists(before, after, SameSerialProduct<Monitor>), added, removed,
                   SerialProductLogName<Monitor>,
                   [](Monitor const& monitor) { ForgetBuiltInSensor(monitor.hidHandle); });
}

void MonitorManager::dispatchMonitorChangeEvent(std::vector<Monitor> const& added,
                                                std::vector<Monitor> const& removed) {
    if (added.empty() && removed.empty())
        return;
    DispatchDeviceChangeEvent(kMonitorChangedEvent, ConvertMonitorArrayToJsonArray(added),
                              ConvertMonitorArrayToJsonArray(removed));
}

void MonitorManager::updateAndDispatchEvent() {
    std::vector<Monitor> added;
    std::vector<Monitor> removed;
    update(&added, &removed);
    dispatchMonitorChangeEvent(added, removed);
}

} // namespace kavri::device
