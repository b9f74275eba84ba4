// What DeviceNotification PUT reports between two worlds: answers, event log lines and the sensor
// library's forgotten sensors, byte for byte.
#include "device_worlds.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using namespace test;

// Hot-plug registration is switched off in the fake libusb here, so only the requests update the
// managers and nothing happens between two of them.
class DeviceTracking : public PluginTest {
protected:
    static void SetUpTestSuite() {
        PluginTest::SetUpTestSuite();
        usbControl<decltype(&SimUsbSetHotplugCapability)>("SimUsbSetHotplugCapability")(0);
    }
    static sim::DeviceStandIn const& pelto() {
        static sim::DeviceStandIn const standIn(sim::peltoPath(), "Pelto");
        return standIn;
    }

    // Loads `world` and lets the managers take it in with one PUT.
    static void settleOn(std::string const& world) {
        ASSERT_EQ(SimWorldLoad(world.c_str()), nullptr);
        std::vector<std::string> lines;
        Answer const settled = callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}",
                                                 &lines);
        ASSERT_EQ(settled.status, 200) << settled;
        pelto().reset();
    }
};

struct TrackingRow {
    char const* what;
    std::string before; // world members
    std::string after;
    std::string monitors; // the three parts of the answer
    std::string sensors;
    std::string lights;
    std::vector<std::string> eventLines; // "level line"
    std::vector<std::string> forgotten;  // sensors the sensor library was told to forget
};

std::vector<TrackingRow> const& trackingRows() {
    static std::vector<TrackingRow> const rows = {
        {"nothing attached before or after", "", "", kNoChange, kNoChange, kNoChange, {}, {}},
        {"a monitor with a built-in sensor plugged in", "",
         R"("monitors":[{"serial":"M0000001","product":"OVK-T24",)"
         R"("sensor":{"deviceId":41,"individualId":900041}}])",
         R"({"added":[{"product":"OVK-T24","serial":"M0000001"}],"removed":[]})",
         R"({"added":[{"deviceID":41,"individualID":"00000000000dbbc9"}],"removed":[]})",
         kNoChange,
         {"3 event:monitorChanged\tmsg:Add OVK-T24(M0000001)", "3 event:sensorChanged\tmsg:Add 41"},
         {}},
        {"a monitor with a built-in sensor unplugged: the sensor library forgets the sensor",
         R"("monitors":[{"serial":"M0000001","product":"OVK-T24",)"
         R"("sensor":{"deviceId":41,"individualId":900041}}])",
         R"("monitors":[{"serial":"M0000001","product":"OVK-T24","attached":false,)"
         R"("sensor":{"deviceId":41,"individualId":900041}}])",
         R"({"added":[],"removed":[{"product":"OVK-T24","serial":"M0000001"}]})",
         R"({"added":[],"removed":[{"deviceID":41,"individualID":"00000000000dbbc9"}]})",
         kNoChange,
         {"3 event:monitorChanged\tmsg:Remove OVK-T24(M0000001)",
          "3 event:sensorChanged\tmsg:Remove 41"},
         {"41 of M0000001"}},
        {"a monitor without a sensor unplugged: nothing to forget",
         R"("monitors":[{"serial":"M0000002","product":"OVK-T27"}])", "",
         R"({"added":[],"removed":[{"product":"OVK-T27","serial":"M0000002"}]})", kNoChange,
         kNoChange, {"3 event:monitorChanged\tmsg:Remove OVK-T27(M0000002)"}, {}},
        {"a monitor replaced by another: Add before Remove",
         R"("monitors":[{"serial":"M0000001","product":"OVK-T24"}])",
         R"("monitors":[{"serial":"M0000002","product":"OVK-T27"}])",
         R"({"added":[{"product":"OVK-T27","serial":"M0000002"}],)"
         R"("removed":[{"product":"OVK-T24","serial":"M0000001"}]})",
         kNoChange, kNoChange,
         {"3 event:monitorChanged\tmsg:Add OVK-T27(M0000002)",
          "3 event:monitorChanged\tmsg:Remove OVK-T24(M0000001)"},
         {}},
        {"the same serial with another product is another monitor",
         R"("monitors":[{"serial":"S1","product":"OVK-A"}])",
         R"("monitors":[{"serial":"S1","product":"OVK-B"}])",
         R"({"added":[{"product":"OVK-B","serial":"S1"}],)"
         R"("removed":[{"product":"OVK-A","serial":"S1"}]})",
         kNoChange, kNoChange,
         {"3 event:monitorChanged\tmsg:Add OVK-B(S1)", "3 event:monitorChanged\tmsg:Remove OVK-A(S1)"},
         {}},
        {"a sensor whose individual id changes is removed and added; asked for by device id",
         R"("sensors":[{"deviceId":7,"individualId":70007}])",
         R"("sensors":[{"deviceId":7,"individualId":9223372036854775807}])", kNoChange,
         R"({"added":[{"deviceID":7,"individualID":"7fffffffffffffff"}],)"
         R"("removed":[{"deviceID":7,"individualID":"0000000000011177"}]})",
         kNoChange, {"3 event:sensorChanged\tmsg:Add 7", "3 event:sensorChanged\tmsg:Remove 7"},
         {"7"}},
        {"a device id past 2^31 is logged signed; individual id 0 is sixteen zeros", "",
         R"("sensors":[{"deviceId":4294967295,"vendorId":"0x0971"}])", kNoChange,
         R"({"added":[{"deviceID":4294967295,"individualID":"0000000000000000"}],"removed":[]})",
         kNoChange, {"3 event:sensorChanged\tmsg:Add -1"}, {}},
        {"serial sensors are not updated by PUT", "", R"("serialSensors":[{"deviceId":3}])",
         kNoChange, kNoChange, kNoChange, {}, {}},
        {"a lighting device's trailing blanks are dropped; blanks only are kept", "",
         R"("lightingDevices":[{"product":"OVK-LB50  ","serial":"   "}])", kNoChange,
         kNoChange, R"({"added":[{"product":"OVK-LB50","serial":"   "}],"removed":[]})",
         {"3 event:lightingEquipmentChanged\tmsg:Add OVK-LB50(   )"}, {}},
        {"a truncated-data status still yields the string", "",
         R"("lightingDevices":[{"product":"OVK-LB50","serial":"LB1","status":)"
         R"({"product":{"fixedData":-2147483642,"featureArray":-2147483642}}}])",
         kNoChange, kNoChange, R"({"added":[{"product":"OVK-LB50","serial":"LB1"}],"removed":[]})",
         {"3 event:lightingEquipmentChanged\tmsg:Add OVK-LB50(LB1)"}, {}},
        {"a lighting device whose product or serial cannot be read is skipped", "",
         R"("lightingDevices":[{"product":"OVK-LB50","serial":"LB1","status":)"
         R"({"product":{"fixedData":-1}}},{"product":"OVK-LB51","serial":"LB2","status":)"
         R"({"serial":{"featureArray":-5}}},{"product":"OVK-LB52","serial":"LB3"}])",
         kNoChange, kNoChange, R"({"added":[{"product":"OVK-LB52","serial":"LB3"}],"removed":[]})",
         {"3 event:lightingEquipmentChanged\tmsg:Add OVK-LB52(LB3)"}, {}},
        {"a lighting device unplugged, the sensor library untouched",
         R"("lightingDevices":[{"product":"OVK-LB50","serial":"LB1"}])", "", kNoChange, kNoChange,
         R"({"added":[],"removed":[{"product":"OVK-LB50","serial":"LB1"}]})",
         {"3 event:lightingEquipmentChanged\tmsg:Remove OVK-LB50(LB1)"}, {}},
    };
    return rows;
}

TEST_F(DeviceTracking, PutReportsAndLogsWhatChangedSinceTheLastLook) {
    for (TrackingRow const& row : trackingRows()) {
        SCOPED_TRACE(row.what);
        ASSERT_NO_FATAL_FAILURE(settleOn(deviceWorld(row.before)));
        ASSERT_EQ(SimWorldLoad(deviceWorld(row.after).c_str()), nullptr);
        std::vector<std::string> lines;
        Answer const answer =
            callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}", &lines);
        EXPECT_EQ(answer, ok("PUT", "DeviceNotification",
                             putValue(row.monitors, row.sensors, row.lights)));
        EXPECT_EQ(lines, row.eventLines);
        EXPECT_EQ(forgottenSensors(pelto()), row.forgotten);
        EXPECT_TRUE(sim::host::events().empty()) << "PUT pushes no events";
    }
    expectNoStandInViolations();
}

TEST_F(DeviceTracking, SecondPutWithNothingPluggedReportsNothing) {
    ASSERT_NO_FATAL_FAILURE(settleOn(deviceWorld(
        R"("monitors":[{"serial":"M1","product":"P"}],"sensors":[{"deviceId":5}],)"
        R"("lightingDevices":[{"product":"L","serial":"LS"}])")));
    EXPECT_EQ(call("DeviceNotification", "put", "{}"),
              ok("PUT", "DeviceNotification", putValue(kNoChange, kNoChange, kNoChange)));
}

TEST_F(DeviceTracking, GetAnswersSupportOnlyWhenAskedForIt) {
    struct Row {
        char const* query;
        Answer expected;
    };
    Answer const refused =
        badRequest("GET", "DeviceNotification", "'supports' query is only supported.");
    std::vector<Row> const rows = {
        {R"({"supports":1})", ok("GET", "DeviceNotification", "true")},
        {R"({"supports":null})", ok("GET", "DeviceNotification", "true")},
        {R"({"supports":false,"other":1})", ok("GET", "DeviceNotification", "true")},
        {"{}", refused},
        {R"({"other":1})", refused},
        {"[]", refused},
        {R"("supports")", refused},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.query);
        EXPECT_EQ(call("DeviceNotification", "get", "{}", row.query), row.expected);
    }
    // The selector argument is not where the query goes.
    EXPECT_EQ(call("DeviceNotification", "get", R"({"supports":1})", "{}"), refused);
}

TEST_F(DeviceTracking, DeleteWithoutPutAnswersNullAndPostIsNotServed) {
    EXPECT_EQ(call("DeviceNotification", "delete", "{}"),
              ok("DELETE", "DeviceNotification", "null"));
    EXPECT_EQ(call("DeviceNotification", "post", "{}"),
              methodNotAllowed("POST", ""));
}

} // namespace
