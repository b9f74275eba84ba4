// Hot-plug through the fake libusb: each kind of device plugged in and out reaches the page as its
// event and log line, byte for byte, after the watcher's delays; devices of no interest do not.
#include "device_worlds.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using namespace test;
using std::chrono::milliseconds;

// Long enough for the slowest path (1 s on the watcher, then 0.6 s) on a loaded machine.
constexpr milliseconds kEventDeadline{8000};
// How long a device of no interest is watched for an event that must not come (the longest
// delay is 1.6 s).
constexpr milliseconds kQuietPeriod{2000};

// A device added to the world and removed again: plugged in and out.
struct PlugRow {
    char const* collection;
    std::string device; // JSON of the world's entry
    std::string id;     // its id in controls
    char const* event;
    std::string entry;   // its entry in the payload's "added", then "removed"
    std::string logName; // what follows "Add " and "Remove " in the log
};

class HotplugEvents : public PluginTest {
protected:
    static void SetUpTestSuite() {
        PluginTest::SetUpTestSuite();
        ASSERT_EQ(SimWorldLoad(deviceWorld("").c_str()), nullptr);
        // The monitor-control library still lists what it found at load, in the default world.
        std::vector<std::string> lines;
        Answer const on = callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines);
        ASSERT_EQ(on.status, 200) << on;
    }

    // Runs `change`, then expects exactly one event `name` with `json` and the log line.
    static void expectEvent(std::function<char const*()> const& change, std::string const& name,
                            std::string const& json, std::string const& logText) {
        std::size_t const firstEvent = sim::host::events().size();
        std::size_t const firstLine = logging().count();
        ASSERT_EQ(change(), nullptr);
        std::vector<sim::Event> const events = waitForEvents(name, firstEvent, kEventDeadline);
        ASSERT_EQ(events.size(), 1u) << "no " << name << " within the deadline";
        EXPECT_EQ(events[0].json, json);
        std::vector<std::string> lines;
        for (sim::LogLine const& line : logging().lines(firstLine))
            lines.push_back(std::to_string(line.level) + " " + line.line);
        EXPECT_EQ(lines, std::vector<std::string>{"3 event:" + name + "\tmsg:" + logText});
    }

    // Runs `change` and expects no event at all.
    static void expectNoEvent(std::function<char const*()> const& change) {
        std::size_t const firstEvent = sim::host::events().size();
        ASSERT_EQ(change(), nullptr);
        ASSERT_TRUE(waitForUsbDelivery(kEventDeadline));
        std::this_thread::sleep_for(kQuietPeriod);
        EXPECT_EQ(sim::host::events(firstEvent).size(), 0u);
    }

    static void plugAndUnplug(PlugRow const& row) {
        SCOPED_TRACE(row.device);
        expectEvent([&] { return SimWorldAdd(row.collection, row.device.c_str()); }, row.event,
                    R"({"added":[)" + row.entry + R"(],"removed":[]})", "Add " + row.logName);
        expectEvent([&] { return SimWorldRemove(row.collection, row.id.c_str()); }, row.event,
                    R"({"added":[],"removed":[)" + row.entry + "]}", "Remove " + row.logName);
    }
};

std::string sensorEntry(std::uint32_t deviceId, char const* individualHex) {
    return R"({"deviceID":)" + std::to_string(deviceId) + R"(,"individualID":")" + individualHex +
           R"("})";
}

TEST_F(HotplugEvents, MakersMonitorsAreTrackedWithAndWithoutBuiltInSensor) {
    plugAndUnplug({"monitors",
                   R"({"serial":"M0000001","product":"OVK-T24","productId":"0x4005",)"
                   R"("sensor":{"deviceId":41,"individualId":900041}})",
                   "M0000001", "monitorChanged", R"({"product":"OVK-T24","serial":"M0000001"})",
                   "OVK-T24(M0000001)"});
    plugAndUnplug({"monitors", R"({"serial":"M2","product":"OVK-OLD","productId":"0x0002"})",
                   "M2", "monitorChanged", R"({"product":"OVK-OLD","serial":"M2"})",
                   "OVK-OLD(M2)"});
}

TEST_F(HotplugEvents, MakersSensorsAndLightingDevicesAreTracked) {
    plugAndUnplug({"sensors", R"({"deviceId":11,"individualId":26,"productId":"0x8000"})", "11",
                   "sensorChanged", sensorEntry(11, "000000000000001a"), "11"});
    plugAndUnplug({"sensors", R"({"deviceId":2147483648,"productId":"0x000D"})", "2147483648",
                   "sensorChanged", sensorEntry(2147483648u, "0000000000000000"), "-2147483648"});
    plugAndUnplug({"lightingDevices", R"({"product":"OVK-LB50","serial":"LB000001"})", "LB000001",
                   "lightingEquipmentChanged", R"({"product":"OVK-LB50","serial":"LB000001"})",
                   "OVK-LB50(LB000001)"});
}

TEST_F(HotplugEvents, SerialAdaptersUpdateTheSerialSensors) {
    plugAndUnplug({"serialSensors", R"({"deviceId":3})", "3", "serialSensorChanged",
                   sensorEntry(3, "0000000000000000"), "3"});
    plugAndUnplug({"serialSensors", R"({"deviceId":4,"productId":"0x6015"})", "4",
                   "serialSensorChanged", sensorEntry(4, "0000000000000000"), "4"});
}

TEST_F(HotplugEvents, OtherMakersInstrumentsUpdateTheSensors) {
    std::uint32_t deviceId = 100;
    for (char const* vendorId : {"0x0670", "0x0686", "0x0765", "0x085C", "0x0971", "0x0C49",
                                 "0x132B", "0x1742", "0x24D9"}) {
        SCOPED_TRACE(vendorId);
        std::string const id = std::to_string(++deviceId);
        plugAndUnplug({"sensors",
                       R"({"deviceId":)" + id + R"(,"vendorId":")" + vendorId +
                           R"(","productId":"0x1234"})",
                       id, "sensorChanged", sensorEntry(deviceId, "0000000000000000"), id});
    }
}

TEST_F(HotplugEvents, DevicesOfNoInterestStartNoUpdate) {
    // Each is listed by the measurement library while attached, so an update would report it.
    for (std::string const ids : {R"("vendorId":"0x29AB","productId":"0x8200")",
                                  R"("vendorId":"0x29AB","productId":"0xC000")",
                                  R"("vendorId":"0x29AB","productId":"0x0003")",
                                  R"("vendorId":"0x0404","productId":"0x8000")"}) {
        SCOPED_TRACE(ids);
        std::string const device = R"({"deviceId":77,)" + ids + "}";
        expectNoEvent([&] { return SimWorldAdd("sensors", device.c_str()); });
        expectNoEvent([&] { return SimWorldRemove("sensors", "77"); });
    }
}

} // namespace
