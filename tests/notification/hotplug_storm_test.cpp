// A hot-plug storm while pages call: every request answered once, and afterwards every device
// manager's list is the world's. Run under the thread and address sanitizers.
#include "device_worlds.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using namespace test;
using std::chrono::milliseconds;

constexpr int kToggles = 240;
// An arriving monitor holds the watcher for its 1 s settling, so the queue drains slowly.
constexpr milliseconds kDeadline{60000};

std::string const kWorld = deviceWorld(
    R"("screens":[{"id":"S1","bounds":{"x":0,"y":0,"width":1920,"height":1080}}],)"
    R"("monitors":[{"serial":"M1","product":"OVK-T24","sensor":{"deviceId":41}},)"
    R"({"serial":"M2","product":"OVK-T27"},{"serial":"M3","product":"OVK-T32","productId":"0x0002"}],)"
    R"("sensors":[{"deviceId":1},{"deviceId":2,"vendorId":"0x0971"},)"
    R"({"deviceId":3,"productId":"0x000D"}],)"
    R"("serialSensors":[{"deviceId":11},{"deviceId":12}],)"
    R"("lightingDevices":[{"product":"OVK-LB50","serial":"L1"},)"
    R"({"product":"OVK-LB51","serial":"L2"}])");

struct Device {
    char const* collection;
    char const* id;
};
std::vector<Device> const kDevices = {
    {"monitors", "M1"},      {"monitors", "M3"},      {"sensors", "1"},
    {"sensors", "2"},        {"sensors", "3"},        {"serialSensors", "11"},
    {"serialSensors", "12"}, {"lightingDevices", "L1"}, {"lightingDevices", "L2"},
    {"sensors", "1"},        {"serialSensors", "11"}, {"lightingDevices", "L2"}};

// What one page asks again and again: the device switch and the screen resources.
struct PageCall {
    char const* resource;
    char const* options;
    char const* parameters;
    char const* query;
};
std::vector<PageCall> const kPageCalls = {
    {"DeviceNotification", R"({"method":"put"})", "{}", "{}"},
    {"DeviceNotification", R"({"method":"get"})", "{}", R"({"supports":1})"},
    {"Screens", R"({"method":"get"})", "{}", "{}"},
    {"ScreenAtIndex", R"({"method":"get"})", R"({"index":0})", R"({"gamma":1})"},
    {"ScreensForMonitor", R"({"method":"get"})", R"({"product":"OVK-T24","serial":"M1"})", "{}"},
};

class HotplugStorm : public PluginTest {};

TEST_F(HotplugStorm, EveryRequestIsAnsweredOnceAndTheManagersEndUpWithTheWorld) {
    ASSERT_EQ(SimWorldLoad(kWorld.c_str()), nullptr);
    std::vector<std::string> lines;
    ASSERT_EQ(callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines).status, 200);
    SimPageBridgeReset();

    std::atomic<bool> storming{true};
    std::vector<std::vector<int>> promises(2);
    std::vector<std::thread> pages;
    for (std::size_t page = 0; page < promises.size(); ++page) {
        pages.emplace_back([&, page] {
            for (std::size_t i = page; storming.load(); ++i) {
                PageCall const& c = kPageCalls[i % kPageCalls.size()];
                promises[page].push_back(
                    plugin().resource(c.resource)(c.options, c.parameters, c.query, ""));
            }
        });
    }
    std::mt19937 random(20261125);
    for (int toggle = 0; toggle < kToggles; ++toggle) {
        Device const& device = kDevices[random() % kDevices.size()];
        ASSERT_EQ(SimWorldSetAttached(device.collection, device.id, random() % 2 == 0 ? 1 : 0),
                  nullptr);
        std::this_thread::sleep_for(milliseconds(random() % 4));
    }
    storming.store(false);
    for (std::thread& page : pages)
        page.join();

    // Every promise settled exactly once.
    std::vector<int> answered;
    for (sim::Response const& response : sim::host::responses())
        answered.push_back(response.promiseId);
    std::vector<int> asked;
    for (std::vector<int> const& list : promises)
        asked.insert(asked.end(), list.begin(), list.end());
    std::sort(answered.begin(), answered.end());
    std::sort(asked.begin(), asked.end());
    EXPECT_GT(asked.size(), 10u);
    EXPECT_EQ(answered, asked);

    // Settled: every change delivered, then longer than the longest delay (1 s + 0.6 s).
    ASSERT_TRUE(waitForUsbDelivery(kDeadline));
    std::this_thread::sleep_for(milliseconds(2500));
    EXPECT_EQ(call("DeviceNotification", "put", "{}"),
              ok("PUT", "DeviceNotification", putValue(kNoChange, kNoChange, kNoChange)))
        << "a manager's list is not the world's";
    // The serial list, which PUT does not update: a new serial sensor is the only change.
    std::size_t const from = sim::host::events().size();
    ASSERT_EQ(SimWorldAdd("serialSensors", R"({"deviceId":99})"), nullptr);
    std::vector<sim::Event> const events = waitForEvents("serialSensorChanged", from, kDeadline);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].json,
              R"({"added":[{"deviceID":99,"individualID":"0000000000000000"}],"removed":[]})");
    expectNoStandInViolations();
    EXPECT_EQ(fakeUsb().violations(), 0u);
}

// Devices keep coming and going while the host tears the plug-in down: TearDown returns, nothing
// is pushed afterwards, and the plug-in can be switched on again.
TEST_F(HotplugStorm, TearDownWhileDevicesComeAndGo) {
    ASSERT_EQ(SimWorldLoad(kWorld.c_str()), nullptr);
    std::vector<std::string> lines;
    ASSERT_EQ(callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines).status, 200);
    std::atomic<bool> storming{true};
    std::thread storm([&] {
        std::mt19937 random(7);
        while (storming.load()) {
            Device const& device = kDevices[random() % kDevices.size()];
            SimWorldSetAttached(device.collection, device.id, random() % 2 == 0 ? 1 : 0);
            std::this_thread::sleep_for(milliseconds(random() % 3));
        }
    });
    std::this_thread::sleep_for(milliseconds(700));
    tearDownPlugin();
    std::size_t const after = sim::host::events().size();
    std::this_thread::sleep_for(milliseconds(2000));
    storming.store(false);
    storm.join();
    EXPECT_EQ(sim::host::events(after).size(), 0u) << "an event after TearDown";
    EXPECT_EQ(usbControl<decltype(&SimUsbContextCount)>("SimUsbContextCount")(), 0u);
    EXPECT_EQ(callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines).status, 200);
    EXPECT_EQ(usbControl<decltype(&SimUsbContextCount)>("SimUsbContextCount")(), 1u);
    EXPECT_EQ(fakeUsb().violations(), 0u);
}

} // namespace
