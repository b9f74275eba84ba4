// A small world of the maker's devices, and the stand-ins' functions as tests call them.
#pragma once

#include "platform/dispctl.h"
#include "platform/meterlink.h"
#include "platform/pelto.h"
#include "platform/vqc.h"
#include "sim/devices/devices_testing.h"
#include "sim/devices/usb_api.h"
#include "sim/world/world.h"

#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace devicetest {

// Two monitors (the first with a built-in sensor), a USB sensor of another maker, a serial
// sensor and a lighting device, all attached.
constexpr char const* kWorld = R"({
  "monitors": [
    {"serial": "M0000001", "product": "OVK-T24", "productId": "0x4005",
     "sensor": {"deviceId": 41, "individualId": 900041}},
    {"serial": "M0000002", "product": "OVK-T27", "productId": "0x4006"}
  ],
  "sensors": [{"deviceId": 7, "individualId": 70007, "vendorId": "0x0971", "productId": "0x2007"}],
  "serialSensors": [{"deviceId": 3}],
  "lightingDevices": [{"product": "OVK-LB50", "serial": "LB000001"}]
})";

struct UsbEvent {
    int event;
    std::uint16_t vendor;
    std::uint16_t product;
};
inline bool operator==(UsbEvent const& a, UsbEvent const& b) {
    return a.event == b.event && a.vendor == b.vendor && a.product == b.product;
}
inline std::ostream& operator<<(std::ostream& out, UsbEvent const& e) {
    return out << (e.event == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? "arrived " : "left ")
               << std::hex << e.vendor << ":" << e.product << std::dec;
}

// The fake libusb through dlsym, with one context and one recording callback for every device.
class Usb {
public:
    Usb() : lib(sim::fakeLibusbPath(), "Usb") {}
    ~Usb() {
        if (context != nullptr) {
            lib.function<decltype(&libusb_exit)>("libusb_exit")(context);
        }
    }
    Usb(Usb const&) = delete;
    Usb& operator=(Usb const&) = delete;

    // Makes the context and registers the recorder (with enumeration when asked).
    void start(bool enumerate) {
        ASSERT_TRUE(lib.loaded());
        ASSERT_EQ(lib.function<decltype(&libusb_init)>("libusb_init")(&context), 0);
        ASSERT_EQ(register_(context,
                            LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT,
                            enumerate ? LIBUSB_HOTPLUG_ENUMERATE : 0, LIBUSB_HOTPLUG_MATCH_ANY,
                            LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, &Usb::record, this,
                            &handle),
                  0);
    }
    int poll(long microseconds = 0) {
        timeval timeout{0, microseconds};
        return handleEvents(context, &timeout, nullptr);
    }
    std::vector<UsbEvent> take() {
        std::lock_guard<std::mutex> lock(mutex);
        std::vector<UsbEvent> out;
        out.swap(events);
        return out;
    }

    static int record(libusb_context*, libusb_device* device, libusb_hotplug_event event,
                      void* user) {
        auto* const self = static_cast<Usb*>(user);
        libusb_device_descriptor descriptor{};
        self->descriptor(device, &descriptor);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->events.push_back(UsbEvent{event, descriptor.idVendor, descriptor.idProduct});
        self->threads.push_back(std::this_thread::get_id());
        self->handleSeen.push_back(self->handle);
        return 0;
    }

    sim::DeviceStandIn lib;
    decltype(&libusb_hotplug_register_callback) register_ =
        lib.function<decltype(&libusb_hotplug_register_callback)>(
            "libusb_hotplug_register_callback");
    decltype(&libusb_handle_events_timeout_completed) handleEvents =
        lib.function<decltype(&libusb_handle_events_timeout_completed)>(
            "libusb_handle_events_timeout_completed");
    decltype(&libusb_get_device_descriptor) descriptor =
        lib.function<decltype(&libusb_get_device_descriptor)>("libusb_get_device_descriptor");
    libusb_context* context = nullptr;
    libusb_hotplug_callback_handle handle = 0;
    std::mutex mutex;
    std::vector<UsbEvent> events;
    std::vector<std::thread::id> threads; // of each callback call
    std::vector<int> handleSeen;          // the handle variable during each callback call
};

constexpr std::uint16_t kOvak = kavri::kOvakVendorId;
constexpr int kArrived = LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED;
constexpr int kLeft = LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT;

// The small world loaded, every device stand-in back at its load-time state, no failing calls.
class DeviceWorld : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dispctl.loaded() && pelto.loaded());
        sim::world().reset();
        ASSERT_EQ(sim::world().load(kWorld), "");
        SimVqcReset();
        SimMeterLinkReset();
        dispctl.reset();
        pelto.reset();
    }
    void TearDown() override { sim::world().reset(); }

    static std::string plug(char const* collection, char const* id, bool attached) {
        return sim::world().setAttached(collection, id, attached);
    }

    // "serial/product" of each monitor in libvqc's list.
    static std::vector<std::string> listedMonitors() {
        std::vector<std::string> out;
        for (std::uint64_t i = 0; i < VqCtrlGetNumMonitors(); ++i) {
            char serial[9] = {};
            char product[17] = {};
            if (VqCtrlGetSerialProduct(i, serial, product) >= 0)
                out.push_back(std::string(serial) + "/" + product);
        }
        return out;
    }
    // Device ids in MDEnumConnectedDevices' order.
    static std::vector<std::uint32_t> connectedSensors() {
        std::vector<std::uint32_t> out;
        std::uint32_t deviceId = 0;
        std::uint64_t individualId = 0;
        for (std::uint32_t i = 0; MDEnumConnectedDevices(i, &deviceId, &individualId) >= 0; ++i)
            out.push_back(deviceId);
        return out;
    }
    std::vector<std::uint32_t> serialSensors() const {
        auto const enumerate = pelto.function<decltype(&PeltoEnumConnectedSerialSensors)>(
            "PeltoEnumConnectedSerialSensors");
        std::vector<std::uint32_t> out;
        std::uint32_t deviceId = 0;
        for (std::uint32_t i = 0; enumerate(i, &deviceId) >= 0; ++i)
            out.push_back(deviceId);
        return out;
    }
    // Serials of libdispctl's kind-16 list, read as the plug-in reads them.
    std::vector<std::string> lights() const {
        std::vector<std::string> out;
        VqDevice* device = nullptr;
        for (std::uint32_t i = 0; retrieve(VQ_KIND_LIGHTING, i, &device) >= 0; ++i)
            out.push_back(text(device, VQ_CODE_SERIAL));
        return out;
    }
    std::string text(VqDevice* device, std::uint16_t code) const {
        std::uint8_t info0 = 0;
        std::uint64_t info1 = 0;
        std::uint64_t info2 = 0;
        std::uint8_t info3 = 1;
        std::uint64_t length = 0;
        std::int32_t status =
            fixedData(device, VQ_PAGE_FIXED, code, &info0, &info1, &info2, &info3, &length);
        if (status < 0 && status != VQ_STATUS_PARTIAL)
            return "<fixed data " + std::to_string(status) + ">";
        std::string buffer(length, '\0');
        status = featureArray(device, VQ_PAGE_FIXED, code,
                              reinterpret_cast<std::uint8_t*>(&buffer[0]), length);
        if (status < 0 && status != VQ_STATUS_PARTIAL)
            return "<feature array " + std::to_string(status) + ">";
        return buffer;
    }
    static VqHidDevice* hidHandle(char const* serial, char const* product) {
        VqHidDevice* handle = nullptr;
        VqCtrlGetHIDHandle(serial, product, &handle);
        return handle;
    }

    sim::DeviceStandIn dispctl{sim::dispctlPath(), "Dispctl"};
    sim::DeviceStandIn pelto{sim::peltoPath(), "Pelto"};
    decltype(&VqRetrieveEx) retrieve = dispctl.function<decltype(&VqRetrieveEx)>("VqRetrieveEx");
    decltype(&VqUpdateEx) updateEx = dispctl.function<decltype(&VqUpdateEx)>("VqUpdateEx");
    decltype(&VqGetFixedData) fixedData =
        dispctl.function<decltype(&VqGetFixedData)>("VqGetFixedData");
    decltype(&VqGetFeatureArray) featureArray =
        dispctl.function<decltype(&VqGetFeatureArray)>("VqGetFeatureArray");
    decltype(&PeltoGetHandleForHIDHandle) handleForHid =
        pelto.function<decltype(&PeltoGetHandleForHIDHandle)>("PeltoGetHandleForHIDHandle");
    decltype(&PeltoGetHandleForDeviceID) handleForId =
        pelto.function<decltype(&PeltoGetHandleForDeviceID)>("PeltoGetHandleForDeviceID");
    decltype(&PeltoRemoveSensor) removeSensor =
        pelto.function<decltype(&PeltoRemoveSensor)>("PeltoRemoveSensor");
};

} // namespace devicetest
