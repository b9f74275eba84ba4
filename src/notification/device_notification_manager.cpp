// DeviceNotificationManager: registration, the polling watcher, the callback and the event tasks.
#include "notification/device_notification_manager.h"

#include "bridge/tolma_logger.h"
#include "device/lighting_equipment_manager.h"
#include "device/monitor_manager.h"
#include "device/ovak_usb.h"
#include "device/sensor_manager.h"
#include "loader/loaders.h"

#include <vector>

namespace kavri::notification {

namespace {

using std::chrono::microseconds;

constexpr microseconds kPollInterval{50000};
constexpr microseconds kMonitorSettle{1000000};
constexpr microseconds kOtherVendorDelay{300000};
constexpr microseconds kOvakDelay{600000};

constexpr std::uint16_t kSerialAdapterVendorId = 0x0403;
// Measurement instruments of other makers, updated as USB sensors.
constexpr std::uint16_t kInstrumentVendorIds[] = {0x0670, 0x0686, 0x0765, 0x085C, 0x0971,
                                                  0x0C49, 0x132B, 0x1742, 0x24D9};

std::atomic<DeviceNotificationManager*> existing{nullptr};

} // namespace

int GetOvakDeviceCategory(std::uint16_t productId, std::uint16_t /*vendorId*/) {
    switch (productId & 0xC000) {
    case 0x4000:
        return 1;
    case 0x8000:
        return productId == 0x8000 ? 2 : productId == 0x8100 ? 3 : 0;
    case 0x0000:
        return productId == 0x0002 ? 1 : productId == 0x000D ? 2 : 0;
    default:
        return 0;
    }
}

DeviceEventAction ActionForDeviceEvent(DeviceEvent const& event) {
    if (event.kind == 0)
        return {};
    if (event.vendorId == kOvakVendorId) {
        switch (GetOvakDeviceCategory(event.productId, event.vendorId)) {
        case 1:
            return {DeviceUpdate::Monitors, kOvakDelay};
        case 2:
            return {DeviceUpdate::Sensors, kOvakDelay};
        case 3:
            return {DeviceUpdate::Lighting, kOvakDelay};
        default:
            return {};
        }
    }
    if (event.vendorId == kSerialAdapterVendorId)
        return {DeviceUpdate::SerialSensors, kOtherVendorDelay};
    for (std::uint16_t vendorId : kInstrumentVendorIds)
        if (event.vendorId == vendorId)
            return {DeviceUpdate::Sensors, kOtherVendorDelay};
    return {};
}

void DeviceChangeNotificationRunnable::run() {
    switch (ActionForDeviceEvent(event_).update) {
    case DeviceUpdate::Monitors:
        device::MonitorManager::Instance().updateAndDispatchEvent();
        break;
    case DeviceUpdate::Sensors:
        device::SensorManager::Instance().updateAndDispatchEvent();
        break;
    case DeviceUpdate::SerialSensors:
        device::SensorManager::Instance().serialUpdateAndDispatchEvent();
        break;
    case DeviceUpdate::Lighting:
        device::LightingEquipmentManager::Instance().updateAndDispatchEvent();
        break;
    case DeviceUpdate::None:
        break;
    }
}

// What the event tasks reach at exit (the logger, the sensor and lighting loaders) is made before
// the instance, so it is destroyed after the instance's destructor has stopped every task.
DeviceNotificationManager& DeviceNotificationManager::Instance() {
    static DeviceNotificationManager& instance = [] () -> DeviceNotificationManager& {
        TolmaLogger::Instance();
        PeltoLoader::loader();
        libdispctlLoader::loader();
        static DeviceNotificationManager manager;
        return manager;
    }();
    return instance;
}

DeviceNotificationManager* DeviceNotificationManager::Existing() {
    return existing.load(std::memory_order_acquire);
}

DeviceNotificationManager::DeviceNotificationManager() {
    existing.store(this, std::memory_order_release);
}

DeviceNotificationManager::~DeviceNotificationManager() {
    stop();
    existing.store(nullptr, std::memory_order_release);
}

void DeviceNotificationManager::registerNotification() {
    std::lock_guard<std::mutex> const held(control_);
    {
        std::lock_guard<std::mutex> const woken(wakeMutex_);
        // TearDown is under way: the host is going, nothing starts again until it is done.
        if (stopRequests_ > 0)
            return;
        stopping_ = false;
    }
    if (libusb_.has_capability(LIBUSB_CAP_HAS_HOTPLUG) == 0 || context_ != nullptr ||
        handle_ != 0 || libusb_.init(&context_) != 0 || context_ == nullptr)
        return;
    // libusb reports the devices already attached from inside the registration, on this thread:
    // those reports are kept for the watcher, which handles every report.
    registering_.store(true);
    libusb_.hotplug_register(context_, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED |
                                           LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
                             LIBUSB_HOTPLUG_ENUMERATE, LIBUSB_HOTPLUG_MATCH_ANY,
                             LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, HotplugCallback,
                             this, &handle_);
    registering_.store(false);
    // Cleared here rather than by the watcher, so an unregistration that comes before the thread
    // first runs still ends it.
    completed_.store(0);
    watcher_ = std::make_unique<std::thread>([this] { run(); });
}

void DeviceNotificationManager::unregisterNotification() {
    std::lock_guard<std::mutex> const held(control_);
    unregisterLocked();
}

void DeviceNotificationManager::unregisterLocked() {
    if (handle_ != 0) {
        libusb_.hotplug_deregister(context_, handle_);
        handle_ = 0;
    }
    {
        std::lock_guard<std::mutex> const woken(wakeMutex_);
        completed_.store(1);
    }
    wake_.notify_all();
    if (watcher_ != nullptr) {
        watcher_->join();
        watcher_.reset();
    }
    if (context_ != nullptr) {
        libusb_.exit(context_);
        context_ = nullptr;
    }
}

void DeviceNotificationManager::stop() {
    {
        std::lock_guard<std::mutex> const woken(wakeMutex_);
        ++stopRequests_;
        stopping_ = true;
    }
    wake_.notify_all();
    {
        std::lock_guard<std::mutex> const held(control_);
        unregisterLocked();
    }
    tasks_.cancelAll();
    std::lock_guard<std::mutex> const woken(wakeMutex_);
    --stopRequests_;
}

bool DeviceNotificationManager::waitUnlessStopping(microseconds duration) {
    std::unique_lock<std::mutex> woken(wakeMutex_);
    return !wake_.wait_for(woken, duration, [this] { return stopping_; });
}

void DeviceNotificationManager::run() {
    std::vector<DeviceEvent> enumerated;
    {
        std::lock_guard<std::mutex> const held(enumeratedMutex_);
        enumerated.swap(enumerated_);
    }
    for (DeviceEvent const& event : enumerated) {
        if (completed_.load() != 0)
            return;
        handle(event);
    }
    while (completed_.load() == 0) {
        timeval noWait{0, 0};
        // libusb reads the flag without our synchronisation: it gets a copy of its own.
        int completed = completed_.load();
        libusb_.handle_events_timeout_completed(context_, &noWait, &completed);
        std::unique_lock<std::mutex> woken(wakeMutex_);
        wake_.wait_for(woken, kPollInterval, [this] { return completed_.load() != 0; });
    }
}

void DeviceNotificationManager::dispatch(DeviceEvent const& event) {
    DeviceEventAction const action = ActionForDeviceEvent(event);
    if (action.update == DeviceUpdate::None)
        return;
    auto runnable = std::make_shared<DeviceChangeNotificationRunnable>(event);
    tasks_.start(action.delay, [runnable] { runnable->run(); });
}

int DeviceNotificationManager::HotplugCallback(libusb_context*, libusb_device* device,
                                               libusb_hotplug_event event, void* userData) {
    if (userData == nullptr)
        return 0;
    // Called from inside libusb: nothing may unwind through it.
    try {
        static_cast<DeviceNotificationManager*>(userData)->onHotplug(device, event);
    } catch (...) {
    }
    return 0;
}

void DeviceNotificationManager::onHotplug(libusb_device* device, libusb_hotplug_event event) {
    DeviceEvent happening;
    if (event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED)
        happening.kind = 1;
    else if (event == LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT)
        happening.kind = 2;
    else
        return;
    libusb_device_descriptor descriptor{};
    libusb_.get_device_descriptor(device, &descriptor);
    happening.vendorId = descriptor.idVendor;
    happening.productId = descriptor.idProduct;
    if (registering_.load()) {
        std::lock_guard<std::mutex> const held(enumeratedMutex_);
        enumerated_.push_back(happening);
        return;
    }
    handle(happening);
}

void DeviceNotificationManager::handle(DeviceEvent const& happening) {
    if (happening.kind == 1 && happening.vendorId == kOvakVendorId &&
        GetOvakDeviceCategory(happening.productId, happening.vendorId) == 1 &&
        waitUnlessStopping(kMonitorSettle)) {
        try {
            device::MonitorManager::Instance().updateAndDispatchEvent();
        } catch (...) {
            // Failures of the update are silent; the event's own task still runs.
        }
    }
    try {
        DispatchDeviceChangeNotification(happening);
    } catch (...) {
        // No thread for the task: the event is dropped, as every hot-plug failure is silent.
    }
}

void RegisterDeviceChangeNotification() {
    DeviceNotificationManager::Instance().registerNotification();
}

void UnregisterDeviceChangeNotification() {
    DeviceNotificationManager::Instance().unregisterNotification();
}

bool SupportsDeviceChangeNotification() {
    return DeviceNotificationManager::Instance().isHotplugSupported();
}

void DispatchDeviceChangeNotification(DeviceEvent const& event) {
    DeviceNotificationManager::Instance().dispatch(event);
}

void StopDeviceChangeNotification() {
    if (DeviceNotificationManager* manager = DeviceNotificationManager::Existing())
        manager->stop();
}

} // namespace kavri::notification
