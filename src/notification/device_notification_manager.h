// kavri::notification::DeviceNotificationManager: the USB hot-plug watcher and its device routing.
#pragma once

#include "notification/delayed_tasks.h"
#include "notification/dll_libusb.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kavri::notification {

// One hot-plug happening: kind 1 arrived, 2 left (libusb's values), ids from the descriptor.
struct DeviceEvent {
    std::int32_t kind = 0;
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
};

// The category of one of the maker's products, from its product id alone (the vendor id is
// ignored on purpose): 1 monitor, 2 sensor, 3 lighting equipment, 0 none.
int GetOvakDeviceCategory(std::uint16_t productId, std::uint16_t vendorId);

// What a hot-plug event leads to, and after how long.
enum class DeviceUpdate { None, Monitors, Sensors, SerialSensors, Lighting };
struct DeviceEventAction {
    DeviceUpdate update = DeviceUpdate::None;
    std::chrono::microseconds delay{0};
};
// The maker's devices by category after 0.6 s, USB-serial adapters (vendor 0x0403) as serial
// sensors and other makers' instruments as sensors after 0.3 s; anything else (and kind 0) none.
DeviceEventAction ActionForDeviceEvent(DeviceEvent const& event);

// Runs the device manager's update-and-dispatch that an event calls for.
class DeviceChangeNotificationRunnable {
public:
    explicit DeviceChangeNotificationRunnable(DeviceEvent const& event) : event_(event) {}
    virtual ~DeviceChangeNotificationRunnable() = default;
    // The update itself; the settling delay has passed already.
    virtual void run();
    virtual bool deleteLater() const { return true; }

private:
    DeviceEvent event_;
};

// Registered: a libusb context, a hot-plug callback (every device, those already attached
// reported at once) and a watcher thread polling the context every 50 ms without blocking. Every
// report is handled on the watcher thread (libusb makes the reports of attached devices inside the
// registration; they wait for the watcher's start): an arriving monitor is updated after 1 s
// there, and each event of interest starts one task that waits its settling delay and runs the
// update.
//
// Host safety: the watcher only ever polls a live context (unregistering deregisters the callback,
// stops and joins the watcher, and only then exits the context), and stop() — TearDown, and the
// destructor at exit — also cancels tasks still waiting and awaits one that is running, so no
// thread of the plug-in is left; a registration asked for while it runs does nothing. An
// unregistration alone (the page's DELETE) cancels no task.
//
// Lock order: control_ before libusb's own locks; wakeMutex_ and enumeratedMutex_ are leaves.
// control_ is not taken by the callback, the tasks or the device managers they call.
class DeviceNotificationManager {
public:
    static DeviceNotificationManager& Instance();
    // The instance if Instance() has made it, else null (TearDown creates nothing).
    static DeviceNotificationManager* Existing();

    DeviceNotificationManager();
    virtual ~DeviceNotificationManager();
    DeviceNotificationManager(DeviceNotificationManager const&) = delete;
    DeviceNotificationManager& operator=(DeviceNotificationManager const&) = delete;

    // Nothing when registered already, without hot-plug support, or when init fails.
    void registerNotification();
    void unregisterNotification();
    bool isHotplugSupported() const { return libusb_.isAvailable(); }
    // Unregisters, interrupting a pending 1 s monitor wait, then cancels the waiting tasks and
    // awaits a running one.
    void stop();

    // Starts the task for one event (nothing for an event of no interest).
    void dispatch(DeviceEvent const& event);
    // Tasks started and not yet joined.
    std::size_t pendingTasks() const { return tasks_.pending(); }

    static int LIBUSB_CALL HotplugCallback(libusb_context* context, libusb_device* device,
                                           libusb_hotplug_event event, void* userData);

protected:
    // The watcher thread's body.
    virtual void run();

private:
    void onHotplug(libusb_device* device, libusb_hotplug_event event);
    // On the watcher: the 1 s monitor update for an arriving monitor, then the event's task.
    void handle(DeviceEvent const& happening);
    // Waits up to `duration`; false when stop() interrupted it.
    bool waitUnlessStopping(std::chrono::microseconds duration);
    void unregisterLocked();

    libusb_context* context_ = nullptr;
    libusb_hotplug_callback_handle handle_ = 0;
    DllLibusb libusb_;
    std::unique_ptr<std::thread> watcher_;
    std::atomic<int> completed_{0};

    std::mutex control_; // register, unregister and stop, one at a time
    std::mutex wakeMutex_;
    std::condition_variable wake_;
    bool stopping_ = false;  // guarded by wakeMutex_
    int stopRequests_ = 0;   // stop() calls under way; guarded by wakeMutex_
    std::atomic<bool> registering_{false};
    std::mutex enumeratedMutex_; // a leaf
    std::vector<DeviceEvent> enumerated_; // reports made inside the registration
    DelayedTasks tasks_;
};

// The watcher's public face.
void RegisterDeviceChangeNotification();
void UnregisterDeviceChangeNotification();
bool SupportsDeviceChangeNotification();
void DispatchDeviceChangeNotification(DeviceEvent const& event);
// TearDown's step: unregistered, and no hot-plug task waits or runs after it returns. Creates
// nothing when the watcher was never made.
void StopDeviceChangeNotification();

} // namespace kavri::notification
