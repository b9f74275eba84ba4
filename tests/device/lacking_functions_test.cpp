// Device tracking when a library lacks functions: built as two programs, one whose sensor and
// lighting libraries lack theirs (TOLMA_LACKING_DEVICE_LIBRARIES) and one whose libusb lacks one.
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

std::string const kMonitor = R"("monitors":[{"serial":"M1","product":"OVK-T24",)"
                             R"("sensor":{"deviceId":41}}])";

class LackingFunctions : public PluginTest {
protected:
    static std::vector<std::string> putLines(Answer& answer) {
        std::vector<std::string> lines;
        answer = callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines);
        return lines;
    }
};

#ifdef TOLMA_LACKING_DEVICE_LIBRARIES

// The sensor library without the built-in sensors' pre-update, the serial enumeration and the
// lookup by HID handle; the lighting library without VqRetrieveEx.
ReplacedInExports const kPelto("libpelto.so", TOLMA_PELTO_VARIANT);
ReplacedInExports const kDispctl("libdispctl_x64.so", TOLMA_DISPCTL_VARIANT);

TEST_F(LackingFunctions, PutFailsWithTheLightingLibrarysNotFoundError) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        Answer answer;
        putLines(answer);
        EXPECT_EQ(answer, failure("PUT", "DeviceNotification", 404, "FunctionNotFoundError",
                                  "libdispctl does not have a requested function."));
    }
}

TEST_F(LackingFunctions, MonitorsAreStillTrackedAndNoBuiltInSensorIsForgotten) {
    sim::DeviceStandIn const pelto(sim::peltoPath(), "Pelto");
    ASSERT_EQ(SimWorldLoad(deviceWorld("").c_str()), nullptr);
    Answer answer;
    putLines(answer); // switches hot-plug on; fails at the lighting devices
    ASSERT_EQ(answer.status, 404) << answer;
    pelto.reset();

    std::size_t from = sim::host::events().size();
    ASSERT_EQ(SimWorldLoad(deviceWorld(kMonitor).c_str()), nullptr);
    std::vector<sim::Event> events = waitForEvents("monitorChanged", from, kDeadline);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].json, R"({"added":[{"product":"OVK-T24","serial":"M1"}],"removed":[]})");

    from = sim::host::events().size();
    ASSERT_EQ(SimWorldSetAttached("monitors", "M1", 0), nullptr);
    events = waitForEvents("monitorChanged", from, kDeadline);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].json, R"({"added":[],"removed":[{"product":"OVK-T24","serial":"M1"}]})");
    EXPECT_TRUE(forgottenSensors(pelto).empty());
}

TEST_F(LackingFunctions, HotplugOfSerialAndLightingDevicesPushesNothingAndTheHostLivesOn) {
    ASSERT_EQ(SimWorldLoad(deviceWorld("").c_str()), nullptr);
    Answer answer;
    putLines(answer);
    ASSERT_EQ(answer.status, 404) << answer;
    std::size_t const from = sim::host::events().size();
    // The lighting update throws on the task's thread; the serial update has nothing to list.
    ASSERT_EQ(SimWorldAdd("lightingDevices", R"({"product":"OVK-LB50","serial":"LB1"})"),
              nullptr);
    ASSERT_EQ(SimWorldAdd("serialSensors", R"({"deviceId":3})"), nullptr);
    ASSERT_TRUE(waitForUsbDelivery(kDeadline));
    std::this_thread::sleep_for(milliseconds(2000));
    EXPECT_EQ(sim::host::events(from).size(), 0u);
    EXPECT_EQ(call("DeviceNotification", "get", "{}", R"({"supports":1})"),
              ok("GET", "DeviceNotification", "true"));
}

#else

// libusb lacking libusb_get_device_descriptor is not used at all.
TEST_F(LackingFunctions, WithoutAllSevenLibusbFunctionsSupportIsFalseAndPutStillAnswers) {
    EXPECT_EQ(call("DeviceNotification", "get", "{}", R"({"supports":1})"),
              ok("GET", "DeviceNotification", "false"));
    ASSERT_EQ(SimWorldLoad(deviceWorld("").c_str()), nullptr);
    Answer answer;
    putLines(answer);
    ASSERT_EQ(answer.status, 200) << answer;
    ASSERT_EQ(SimWorldLoad(deviceWorld(kMonitor).c_str()), nullptr);
    std::vector<std::string> const lines = putLines(answer);
    EXPECT_EQ(answer, ok("PUT", "DeviceNotification",
                         putValue(R"({"added":[{"product":"OVK-T24","serial":"M1"}],"removed":[]})",
                                  R"({"added":[{"deviceID":41,"individualID":"0000000000000000"}],)"
                                  R"("removed":[]})",
                                  kNoChange, false)));
    EXPECT_EQ(lines.size(), 2u);
    EXPECT_EQ(usbControl<decltype(&SimUsbContextCount)>("SimUsbContextCount")(), 0u);
}

#endif

} // namespace
