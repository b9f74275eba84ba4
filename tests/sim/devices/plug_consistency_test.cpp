// One plug or unplug in the world, as each device library reports it after its own refresh.
#include "device_world.h"

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using Strings = std::vector<std::string>;
using Ids = std::vector<std::uint32_t>;
using UsbEvents = std::vector<UsbEvent>;

using OneWorld = DeviceWorld;

TEST_F(OneWorld, UnpluggedMonitorLeavesEachLibraryAtItsOwnRefresh) {
    Usb usb;
    usb.start(false);
    VqHidDevice* const before = hidHandle("M0000001", "OVK-T24");
    ASSERT_NE(before, nullptr);

    ASSERT_EQ(plug("monitors", "M0000001", false), "");

    // Live enumeration: the built-in sensor went with its monitor.
    EXPECT_EQ(connectedSensors(), (Ids{7}));
    // The monitor list is the last search's until the next one.
    EXPECT_EQ(listedMonitors(), (Strings{"M0000001/OVK-T24", "M0000002/OVK-T27"}));
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    EXPECT_EQ(listedMonitors(), (Strings{"M0000002/OVK-T27"}));
    // libusb: the departure waits for the poll and carries the monitor's ids.
    EXPECT_EQ(usb.take(), UsbEvents{});
    EXPECT_EQ(usb.poll(), 0);
    EXPECT_EQ(usb.take(), (UsbEvents{{kLeft, kOvak, 0x4005}}));
    // The sensor library still knows the built-in sensor by the handle from before the search.
    PeltoSensor* sensor = nullptr;
    handleForHid(before, &sensor);
    ASSERT_NE(sensor, nullptr);
    EXPECT_EQ(removeSensor(sensor), 0);
    std::uint32_t deviceId = 0;
    std::uint64_t individualId = 0;
    char const* monitor = nullptr;
    std::int32_t serial = -1;
    ASSERT_EQ(pelto.function<decltype(&SimPeltoRemovedAt)>("SimPeltoRemovedAt")(
                  0, &deviceId, &individualId, &monitor, &serial),
              0);
    EXPECT_EQ(deviceId, 41U);
    EXPECT_EQ(individualId, 900041U);
    EXPECT_STREQ(monitor, "M0000001");
    EXPECT_EQ(serial, 0);
    handleForHid(before, &sensor);
    EXPECT_EQ(sensor, nullptr);
    EXPECT_EQ(pelto.violations(), 0U);
}

TEST_F(OneWorld, PluggedMonitorArrivesWithItsBuiltInSensor) {
    ASSERT_EQ(plug("monitors", "M0000001", false), "");
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    Usb usb;
    usb.start(false);

    ASSERT_EQ(plug("monitors", "M0000001", true), "");

    EXPECT_EQ(connectedSensors(), (Ids{41, 7}));
    EXPECT_EQ(listedMonitors(), (Strings{"M0000002/OVK-T27"}));
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    EXPECT_EQ(listedMonitors(), (Strings{"M0000001/OVK-T24", "M0000002/OVK-T27"}));
    usb.poll();
    EXPECT_EQ(usb.take(), (UsbEvents{{kArrived, kOvak, 0x4005}}));
    PeltoSensor* sensor = nullptr;
    handleForHid(hidHandle("M0000001", "OVK-T24"), &sensor);
    EXPECT_NE(sensor, nullptr);
    handleForHid(hidHandle("M0000002", "OVK-T27"), &sensor);
    EXPECT_EQ(sensor, nullptr); // no built-in sensor
}

TEST_F(OneWorld, LightingDeviceIsListedAfterTheNextKindSixteenSearch) {
    Usb usb;
    usb.start(false);
    EXPECT_EQ(lights(), (Strings{"LB000001"}));

    ASSERT_EQ(plug("lightingDevices", "LB000001", false), "");
    EXPECT_EQ(lights(), (Strings{"LB000001"}));
    EXPECT_EQ(updateEx(VQ_KIND_LIGHTING), 0);
    EXPECT_EQ(lights(), Strings{});
    usb.poll();
    EXPECT_EQ(usb.take(), (UsbEvents{{kLeft, kOvak, 0x8100}}));

    ASSERT_EQ(plug("lightingDevices", "LB000001", true), "");
    EXPECT_EQ(updateEx(VQ_KIND_LIGHTING), 0);
    EXPECT_EQ(lights(), (Strings{"LB000001"}));
    usb.poll();
    EXPECT_EQ(usb.take(), (UsbEvents{{kArrived, kOvak, 0x8100}}));
}

TEST_F(OneWorld, SensorsAreLiveInTheirEnumerationsAndOnTheBus) {
    Usb usb;
    usb.start(false);

    ASSERT_EQ(plug("serialSensors", "3", false), "");
    ASSERT_EQ(plug("sensors", "7", false), "");
    EXPECT_EQ(serialSensors(), Ids{});
    EXPECT_EQ(connectedSensors(), (Ids{41}));
    usb.poll();
    EXPECT_EQ(usb.take(), (UsbEvents{{kLeft, 0x0403, 0x6001}, {kLeft, 0x0971, 0x2007}}));

    // Unplugged sensors stay known to the sensor library until it is told to forget them.
    PeltoSensor* sensor = nullptr;
    handleForId(7, &sensor);
    EXPECT_NE(sensor, nullptr);
    ASSERT_EQ(plug("serialSensors", "3", true), "");
    EXPECT_EQ(serialSensors(), (Ids{3}));
}

// Each stand-in searches once when it is loaded; in a process whose world never changed, that
// is the default world, before any search call.
TEST(DeviceListsAtLoad, HoldTheDevicesAttachedThen) {
    if (sim::world().generations().world != 1)
        GTEST_SKIP() << "the world changed before this test; run it in a process of its own";
    std::vector<sim::Monitor> const monitors = sim::world().snapshot()->attachedMonitors();
    ASSERT_EQ(monitors.size(), 1U);
    EXPECT_EQ(VqCtrlGetNumMonitors(), 1U);
    char serial[9] = {};
    char product[17] = {};
    EXPECT_EQ(VqCtrlGetSerialProduct(0, serial, product), 0);
    EXPECT_EQ(serial, monitors[0].serial);
    EXPECT_EQ(product, monitors[0].product);

    sim::DeviceStandIn dispctl(sim::dispctlPath(), "Dispctl");
    VqDevice* device = nullptr;
    EXPECT_EQ(
        dispctl.function<decltype(&VqRetrieveEx)>("VqRetrieveEx")(VQ_KIND_LIGHTING, 0, &device), 0);
    EXPECT_NE(device, nullptr);
}

TEST_F(OneWorld, ResetSearchesAgainAsAtLoad) {
    ASSERT_EQ(plug("monitors", "M0000002", false), "");
    ASSERT_EQ(plug("lightingDevices", "LB000001", false), "");
    SimVqcReset();
    dispctl.reset();
    EXPECT_EQ(listedMonitors(), (Strings{"M0000001/OVK-T24"}));
    EXPECT_EQ(lights(), Strings{});
    EXPECT_EQ(SimVqcCallCount("VqCtrlFind"), 0U);
}

} // namespace
