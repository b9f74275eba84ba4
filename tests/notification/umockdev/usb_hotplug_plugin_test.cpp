// The plug-in's hot-plug watcher on the real libusb, triggered by simulated USB devices.
//
// The plug-in's device lists come from the simulated world; what makes it look again is the real
// libusb's hot-plug callback. So each case changes the world and plugs (or unplugs) a simulated
// USB device of the same kind, then waits for the event the page would get.
#include "plugin_test.h"
#include "sim/devices/devices_testing.h"
#include "sim/sim_control.h"
#include "usb_testbed.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <dlfcn.h>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A monitor's arrival is looked at after a second of settling, the others after up to 0.6 s.
constexpr auto kDeadline = 10s;

struct Kind {
    char const* what;
    char const* collection; // of the world
    char const* id;         // of the item in it
    char const* item;       // the item, detached
    std::uint16_t vendorId;
    std::uint16_t productId;
    char const* event;
    char const* added; // the event's payload on arrival
    char const* removed;
    // The plug-in's stand-in and its search that runs once more after the event of an arrival,
    // or "" when nothing does.
    char const* standIn;
    char const* search;
};

void PrintTo(Kind const& kind, std::ostream* out) {
    *out << kind.what;
}

std::vector<Kind> const& kinds() {
    static std::vector<Kind> const rows = {
        {"monitor", "monitors", "M0000001",
         R"({"serial":"M0000001","product":"OVK-T24","attached":false})", 0x29AB, 0x4001,
         "monitorChanged", R"({"added":[{"product":"OVK-T24","serial":"M0000001"}],"removed":[]})",
         R"({"added":[],"removed":[{"product":"OVK-T24","serial":"M0000001"}]})", "Vqc",
         "VqCtrlFind"},
        {"sensor", "sensors", "7", R"({"deviceId":7,"individualId":70007,"attached":false})",
         0x29AB, 0x8000, "sensorChanged",
         R"({"added":[{"deviceID":7,"individualID":"0000000000011177"}],"removed":[]})",
         R"({"added":[],"removed":[{"deviceID":7,"individualID":"0000000000011177"}]})", "", ""},
        {"lighting device", "lightingDevices", "LB1",
         R"({"product":"OVK-LB50","serial":"LB1","attached":false})", 0x29AB, 0x8100,
         "lightingEquipmentChanged",
         R"({"added":[{"product":"OVK-LB50","serial":"LB1"}],"removed":[]})",
         R"({"added":[],"removed":[{"product":"OVK-LB50","serial":"LB1"}]})", "", ""},
    };
    return rows;
}

// The recorded events named `name` from index `from` on, once there is one; none after the
// deadline.
std::vector<sim::Event> waitForEvents(std::string const& name, std::size_t from,
                                      Clock::duration limit) {
    auto const end = Clock::now() + limit;
    for (;;) {
        std::vector<sim::Event> named;
        for (sim::Event const& event : sim::host::events(from))
            if (event.name == name)
                named.push_back(event);
        if (!named.empty() || Clock::now() > end)
            return named;
        std::this_thread::sleep_for(10ms);
    }
}

// The testbed comes before the plug-in opens libusb, and goes after the plug-in has closed it.
class UsbHotplugThroughThePlugin : public test::PluginTest,
                                   public ::testing::WithParamInterface<Kind> {
protected:
    static void SetUpTestSuite() {
        testbed() = std::make_unique<test::UsbTestbed>();
        PluginTest::SetUpTestSuite();
    }
    static void TearDownTestSuite() {
        PluginTest::TearDownTestSuite();
        testbed().reset();
    }
    static std::unique_ptr<test::UsbTestbed>& testbed() {
        static std::unique_ptr<test::UsbTestbed> instance;
        return instance;
    }

    void SetUp() override {
        if (!testbed()->active())
            GTEST_SKIP() << "the USB simulator is not active in this process (run it with "
                            "LD_PRELOAD=libumockdev-preload.so.0)";
    }
    void TearDown() override {
        if (testbed()->active()) {
            std::vector<std::string> lines;
            EXPECT_EQ(
                callLoggingEvents("DeviceNotification", "delete", "{}", "{}", "{}", &lines).status,
                200);
        }
    }
};

TEST_P(UsbHotplugThroughThePlugin, PluggingInAndOutReachesThePageAsAnEvent) {
    Kind const kind = GetParam();
    std::string const world = std::string(R"({"display":{"randrEventBase":0},")") +
                              kind.collection + R"(":[)" + kind.item + "]}";
    ASSERT_EQ(SimWorldLoad(world.c_str()), nullptr);
    // Switches the watcher on and takes in the lists as they are (logging what changed since the
    // world before).
    std::vector<std::string> lines;
    test::Answer const put =
        callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines);
    ASSERT_EQ(put.status, 200) << put;

    // The plug-in opened the real libusb: the fake one is not on the library path and lacks
    // libusb_get_version.
    void* const libusb = dlopen("libusb-1.0.so.0", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(libusb, nullptr) << "the plug-in has not opened libusb";
    EXPECT_NE(dlsym(libusb, "libusb_get_version"), nullptr) << "not the real libusb";
    dlclose(libusb);

    // Plugged in: the world first, so the plug-in finds the device when the callback makes it
    // look.
    std::size_t const before = sim::host::events().size();
    ASSERT_EQ(SimWorldSetAttached(kind.collection, kind.id, 1), nullptr);
    std::unique_ptr<sim::DeviceStandIn> const standIn =
        std::string(kind.standIn) == "Vqc"
            ? std::make_unique<sim::DeviceStandIn>(sim::vqcPath(), kind.standIn)
            : nullptr;
    std::uint64_t const searches = standIn ? standIn->callCount(kind.search) : 0;
    auto const device = testbed()->add(kind.vendorId, kind.productId);
    auto const plugged = Clock::now();
    std::vector<sim::Event> const arrived = waitForEvents(kind.event, before, kDeadline);
    ASSERT_EQ(arrived.size(), 1u) << "no " << kind.event << " within the deadline";
    EXPECT_EQ(arrived[0].json, kind.added);
    std::printf(
        "%s arrived after %lld ms\n", kind.what,
        static_cast<long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - plugged).count()));

    // After a monitor's arrival the plug-in searches twice: after the settling, and in the delayed
    // task. Were the second still due, it would find the unplugging by itself, without the
    // callback; so it goes first (waited for at most 3 s).
    if (standIn && standIn->loaded()) {
        auto const end = Clock::now() + 3s;
        while (standIn->callCount(kind.search) < searches + 2 && Clock::now() < end)
            std::this_thread::sleep_for(10ms);
    }

    // Unplugged.
    std::size_t const between = sim::host::events().size();
    ASSERT_EQ(SimWorldSetAttached(kind.collection, kind.id, 0), nullptr);
    testbed()->remove(device);
    auto const unplugged = Clock::now();
    std::vector<sim::Event> const left = waitForEvents(kind.event, between, kDeadline);
    ASSERT_EQ(left.size(), 1u) << "no " << kind.event << " within the deadline";
    EXPECT_EQ(left[0].json, kind.removed);
    std::printf("%s left after %lld ms\n", kind.what,
                static_cast<long long>(
                    std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - unplugged)
                        .count()));
}

INSTANTIATE_TEST_SUITE_P(EachKind, UsbHotplugThroughThePlugin, ::testing::ValuesIn(kinds()),
                         [](::testing::TestParamInfo<Kind> const& param) {
                             std::string name = param.param.what;
                             for (char& c : name)
                                 c = c == ' ' ? '_' : c;
                             return name;
                         });

} // namespace
