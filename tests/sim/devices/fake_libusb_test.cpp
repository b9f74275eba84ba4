// The fake libusb as the hot-plug watcher uses it: found by name, callbacks from the caller's poll.
#include "device_world.h"

#include <chrono>
#include <cstdlib>
#include <dlfcn.h>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using namespace std::chrono_literals;
using UsbEvents = std::vector<UsbEvent>;

using FakeLibusb = DeviceWorld;

// A control of the fake libusb, which the tests reach through dlsym as they reach its functions.
template <typename F>
F control(Usb const& usb, char const* name) {
    return usb.lib.function<F>(name);
}
#define USB_CONTROL(usb, name) control<decltype(&name)>(usb, #name)

TEST(FakeLibusbFile, IsFoundByBothBareNamesThroughTheLibraryPath) {
    char const* const path = std::getenv("LD_LIBRARY_PATH");
    if (path == nullptr || std::string(path).find(sim::fakeLibusbDirectory()) == std::string::npos)
        GTEST_SKIP() << "run with " << sim::fakeLibusbDirectory() << " on LD_LIBRARY_PATH";
    void* const one = dlopen("libusb-1.0.so.1", RTLD_LAZY);
    void* const zero = dlopen("libusb-1.0.so.0", RTLD_LAZY);
    ASSERT_NE(one, nullptr) << dlerror();
    EXPECT_EQ(zero, one);
    Dl_info info{};
    ASSERT_NE(dladdr(dlsym(one, "libusb_init"), &info), 0);
    EXPECT_EQ(std::string(info.dli_fname).rfind(sim::fakeLibusbDirectory(), 0), 0U)
        << info.dli_fname;
    dlclose(zero);
    dlclose(one);
}

TEST_F(FakeLibusb, EnumerationReportsAttachedDevicesFromInsideRegistration) {
    Usb usb;
    usb.start(true);
    // The world's order: other USB devices (none here), monitors, sensors, serial sensors,
    // lighting devices; reported before the handle was written, on this thread.
    EXPECT_EQ(usb.take(), (UsbEvents{{kArrived, kOvak, 0x4005},
                                     {kArrived, kOvak, 0x4006},
                                     {kArrived, 0x0971, 0x2007},
                                     {kArrived, 0x0403, 0x6001},
                                     {kArrived, kOvak, 0x8100}}));
    EXPECT_EQ(usb.threads, std::vector<std::thread::id>(5, std::this_thread::get_id()));
    EXPECT_EQ(usb.handleSeen, std::vector<int>(5, 0));
    EXPECT_NE(usb.handle, 0);
    usb.poll();
    EXPECT_EQ(usb.take(), UsbEvents{}); // no second report of the same devices
}

TEST_F(FakeLibusb, ChangesFireOnlyInsideThePollOnThePollingThread) {
    Usb usb;
    usb.start(false);
    ASSERT_EQ(plug("sensors", "7", false), "");
    ASSERT_EQ(plug("sensors", "7", true), "");
    EXPECT_EQ(usb.take(), UsbEvents{});
    EXPECT_EQ(USB_CONTROL(usb, SimUsbPendingEventCount)(), 2U);

    std::thread watcher([&] { usb.poll(); });
    std::thread::id const watcherId = watcher.get_id();
    watcher.join();
    EXPECT_EQ(usb.take(), (UsbEvents{{kLeft, 0x0971, 0x2007}, {kArrived, 0x0971, 0x2007}}));
    EXPECT_EQ(usb.threads, std::vector<std::thread::id>(2, watcherId));
}

TEST_F(FakeLibusb, PollWithATimeoutReturnsWhenADeviceArrives) {
    Usb usb;
    usb.start(false);
    auto const start = std::chrono::steady_clock::now();
    std::thread plugger([] {
        std::this_thread::sleep_for(50ms);
        sim::world().setAttached("monitors", "M0000002", false);
    });
    timeval timeout{5, 0};
    EXPECT_EQ(usb.handleEvents(usb.context, &timeout, nullptr), 0);
    plugger.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
    EXPECT_EQ(usb.take(), (UsbEvents{{kLeft, kOvak, 0x4006}}));
}

TEST_F(FakeLibusb, CallbacksSeeOnlyTheirVendorAndStopWhenTheyAskTo) {
    Usb usb;
    usb.start(false);
    struct Count {
        static int once(libusb_context*, libusb_device*, libusb_hotplug_event, void* user) {
            ++*static_cast<int*>(user);
            return 1; // finished: deregister me
        }
    };
    int calls = 0;
    ASSERT_EQ(usb.register_(usb.context, kArrived | kLeft, 0, 0x0403, LIBUSB_HOTPLUG_MATCH_ANY,
                            LIBUSB_HOTPLUG_MATCH_ANY, &Count::once, &calls, nullptr),
              0);
    EXPECT_EQ(USB_CONTROL(usb, SimUsbCallbackCount)(), 2U);
    ASSERT_EQ(plug("monitors", "M0000001", false), "");
    ASSERT_EQ(plug("serialSensors", "3", false), "");
    ASSERT_EQ(plug("serialSensors", "3", true), "");
    usb.poll();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(USB_CONTROL(usb, SimUsbCallbackCount)(), 1U);
    EXPECT_EQ(usb.take().size(), 3U);
}

TEST_F(FakeLibusb, DescriptorStaysReadableAfterTheDeviceLeft) {
    Usb usb;
    usb.start(false);
    struct Keep {
        static int device(libusb_context*, libusb_device* device, libusb_hotplug_event,
                          void* user) {
            *static_cast<libusb_device**>(user) = device;
            return 0;
        }
    };
    libusb_device* device = nullptr;
    ASSERT_EQ(usb.register_(usb.context, kLeft, 0, LIBUSB_HOTPLUG_MATCH_ANY,
                            LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, &Keep::device,
                            &device, nullptr),
              0);
    ASSERT_EQ(plug("lightingDevices", "LB000001", false), "");
    usb.poll();
    ASSERT_NE(device, nullptr);
    libusb_device_descriptor descriptor{};
    EXPECT_EQ(usb.descriptor(device, &descriptor), 0);
    EXPECT_EQ(descriptor.idVendor, kOvak);
    EXPECT_EQ(descriptor.idProduct, 0x8100);
    EXPECT_EQ(descriptor.bLength, LIBUSB_DT_DEVICE_SIZE);
}

TEST_F(FakeLibusb, PollingAfterTheLastExitIsReportedInsteadOfCrashing) {
    Usb usb;
    usb.start(false);
    usb.lib.function<decltype(&libusb_exit)>("libusb_exit")(usb.context);
    libusb_context* const exited = usb.context;
    usb.context = nullptr;
    timeval timeout{0, 0};
    EXPECT_EQ(usb.handleEvents(nullptr, &timeout, nullptr), LIBUSB_ERROR_INVALID_PARAM);
    EXPECT_EQ(usb.handleEvents(exited, &timeout, nullptr), LIBUSB_ERROR_INVALID_PARAM);
    EXPECT_EQ(usb.lib.violations(), 2U);
    EXPECT_EQ(USB_CONTROL(usb, SimUsbContextCount)(), 0U);
}

TEST_F(FakeLibusb, InitAndCapabilityCanBeMadeToFail) {
    Usb usb;
    auto const init = usb.lib.function<decltype(&libusb_init)>("libusb_init");
    auto const hasCapability =
        usb.lib.function<decltype(&libusb_has_capability)>("libusb_has_capability");
    EXPECT_EQ(hasCapability(LIBUSB_CAP_HAS_HOTPLUG), 1);
    USB_CONTROL(usb, SimUsbSetHotplugCapability)(0);
    EXPECT_EQ(hasCapability(LIBUSB_CAP_HAS_HOTPLUG), 0);
    usb.lib.reset();
    EXPECT_EQ(hasCapability(LIBUSB_CAP_HAS_HOTPLUG), 1);

    sim::world().failCalls("libusb_init", 1);
    libusb_context* context = nullptr;
    EXPECT_EQ(init(&context), LIBUSB_ERROR_OTHER);
    EXPECT_EQ(context, nullptr);
    EXPECT_EQ(USB_CONTROL(usb, SimUsbContextCount)(), 0U);
}

} // namespace
