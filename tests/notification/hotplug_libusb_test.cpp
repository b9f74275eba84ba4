// The hot-plug watcher against what libusb can do wrong, and against TearDown and DELETE: contexts
// and callbacks made and released, no poll of a gone context, tasks cancelled or kept.
#include "device_worlds.h"

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using namespace test;
using std::chrono::milliseconds;

constexpr milliseconds kDeadline{8000};
constexpr milliseconds kQuietPeriod{2000};

std::string const kSettled = putValue(kNoChange, kNoChange, kNoChange);

// Each case gets the plug-in afresh, so its watcher starts unregistered.
class HotplugLibusb : public PluginTest {
protected:
    static void SetUpTestSuite() {}
    static void TearDownTestSuite() {}
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(openPlugin());
        ASSERT_EQ(SimWorldLoad(deviceWorld("").c_str()), nullptr);
        SimWorldClearFailures();
        usbControl<decltype(&SimUsbSetHotplugCapability)>("SimUsbSetHotplugCapability")(1);
        fakeUsb().reset();
    }
    void TearDown() override {
        closePlugin();
        EXPECT_EQ(fakeUsb().violations(), 0u) << "a context that was not live was used";
        EXPECT_EQ(contexts(), 0u);
        EXPECT_EQ(callbacks(), 0u);
    }

    static std::size_t contexts() {
        return usbControl<decltype(&SimUsbContextCount)>("SimUsbContextCount")();
    }
    static std::size_t callbacks() {
        return usbControl<decltype(&SimUsbCallbackCount)>("SimUsbCallbackCount")();
    }
    // A PUT whose answer may carry what the managers first saw; only its status matters.
    static void switchOn() {
        std::vector<std::string> lines;
        Answer const on = callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines);
        ASSERT_EQ(on.status, 200) << on;
    }
    // No event pushed from `from` on within the quiet period.
    static void expectQuiet(std::size_t from) {
        std::this_thread::sleep_for(kQuietPeriod);
        EXPECT_EQ(sim::host::events(from).size(), 0u);
    }
};

TEST_F(HotplugLibusb, RegistersOnceAndUnregistersWithDeregisterAndExitLast) {
    ASSERT_NO_FATAL_FAILURE(switchOn());
    EXPECT_EQ(call("DeviceNotification", "put", "{}"), ok("PUT", "DeviceNotification", kSettled));
    EXPECT_EQ(contexts(), 1u);
    EXPECT_EQ(callbacks(), 1u);
    EXPECT_EQ(call("DeviceNotification", "delete", "{}"),
              ok("DELETE", "DeviceNotification", "null"));
    EXPECT_EQ(contexts(), 0u);
    EXPECT_EQ(callbacks(), 0u);
    std::vector<std::string> const calls = fakeUsb().calls();
    ASSERT_GE(calls.size(), 2u);
    EXPECT_EQ(calls[calls.size() - 2].rfind("libusb_hotplug_deregister_callback(", 0), 0u)
        << calls[calls.size() - 2];
    EXPECT_EQ(calls.back().rfind("libusb_exit(", 0), 0u) << calls.back();
    // Again and again: DELETE twice, then on once more.
    EXPECT_EQ(call("DeviceNotification", "delete", "{}").status, 200);
    EXPECT_EQ(call("DeviceNotification", "put", "{}"), ok("PUT", "DeviceNotification", kSettled));
    EXPECT_EQ(contexts(), 1u);
}

// libusb reports an attached monitor from inside the registration; the PUT does not wait its
// settling second: the watcher updates after the answer, then the event's task.
TEST_F(HotplugLibusb, AMonitorAttachedAtRegistrationIsUpdatedOnTheWatcherAfterTheAnswer) {
    ASSERT_EQ(SimWorldLoad(deviceWorld(R"("monitors":[{"serial":"M1","product":"OVK-T24"}])").c_str()),
              nullptr);
    sim::DeviceStandIn const vqc(sim::vqcPath(), "Vqc");
    vqc.reset();
    std::vector<std::string> lines;
    Answer const on = callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines);
    ASSERT_EQ(on.status, 200) << on;
    EXPECT_EQ(vqc.callCount("VqCtrlFind"), 1u) << "only the PUT's own search ran inside it";
    test::waitUntil([&] { return vqc.callCount("VqCtrlFind") >= 3; }, kDeadline);
    EXPECT_EQ(vqc.callCount("VqCtrlFind"), 3u) << "the watcher's update, then the task's";
}

TEST_F(HotplugLibusb, WithoutHotplugCapabilityNothingIsRegisteredYetSupportIsReported) {
    usbControl<decltype(&SimUsbSetHotplugCapability)>("SimUsbSetHotplugCapability")(0);
    EXPECT_EQ(call("DeviceNotification", "get", "{}", R"({"supports":1})"),
              ok("GET", "DeviceNotification", "true"));
    ASSERT_NO_FATAL_FAILURE(switchOn());
    EXPECT_EQ(contexts(), 0u);
    usbControl<decltype(&SimUsbSetHotplugCapability)>("SimUsbSetHotplugCapability")(1);
    ASSERT_NO_FATAL_FAILURE(switchOn());
    EXPECT_EQ(contexts(), 1u);
}

TEST_F(HotplugLibusb, AFailingInitLeavesItUnregisteredUntilTheNextPut) {
    SimWorldFailCalls("libusb_init", 1);
    ASSERT_NO_FATAL_FAILURE(switchOn());
    EXPECT_EQ(contexts(), 0u);
    EXPECT_EQ(callbacks(), 0u);
    ASSERT_NO_FATAL_FAILURE(switchOn());
    EXPECT_EQ(contexts(), 1u);
    EXPECT_EQ(callbacks(), 1u);
}

TEST_F(HotplugLibusb, AnUnreadableDescriptorIsActedUponAsNoDevice) {
    ASSERT_NO_FATAL_FAILURE(switchOn());
    SimWorldFailCalls("libusb_get_device_descriptor", SIM_WORLD_FAIL_ALWAYS);
    std::size_t const from = sim::host::events().size();
    ASSERT_EQ(SimWorldAdd("lightingDevices", R"({"product":"OVK-LB50","serial":"LB1"})"),
              nullptr);
    ASSERT_TRUE(waitForUsbDelivery(kDeadline));
    expectQuiet(from);
}

TEST_F(HotplugLibusb, TearDownDuringAMonitorsSettlingEndsItWithoutAnUpdate) {
    ASSERT_NO_FATAL_FAILURE(switchOn());
    std::size_t const from = sim::host::events().size();
    ASSERT_EQ(SimWorldAdd("monitors", R"({"serial":"M1","product":"OVK-T24"})"), nullptr);
    // Delivered: the watcher is now waiting its second before the monitor update.
    ASSERT_TRUE(waitForUsbDelivery(kDeadline));
    auto const start = std::chrono::steady_clock::now();
    tearDownPlugin();
    auto const took = std::chrono::steady_clock::now() - start;
    std::cout << "TearDown took "
              << std::chrono::duration_cast<milliseconds>(took).count() << " ms\n";
    EXPECT_LT(took, kDeadline) << "TearDown waited for the settling monitor";
    EXPECT_EQ(contexts(), 0u);
    expectQuiet(from);
}

TEST_F(HotplugLibusb, TearDownCancelsWaitingTasksButDeleteDoesNot) {
    ASSERT_NO_FATAL_FAILURE(switchOn());
    std::size_t from = sim::host::events().size();
    ASSERT_EQ(SimWorldAdd("lightingDevices", R"({"product":"OVK-LB50","serial":"LB1"})"),
              nullptr);
    ASSERT_TRUE(waitForUsbDelivery(kDeadline));
    EXPECT_EQ(call("DeviceNotification", "delete", "{}").status, 200);
    EXPECT_EQ(waitForEvents("lightingEquipmentChanged", from, kDeadline).size(), 1u)
        << "the task started before DELETE still runs";

    ASSERT_NO_FATAL_FAILURE(switchOn());
    from = sim::host::events().size();
    ASSERT_EQ(SimWorldRemove("lightingDevices", "LB1"), nullptr);
    ASSERT_TRUE(waitForUsbDelivery(kDeadline));
    tearDownPlugin();
    expectQuiet(from);
}

} // namespace
