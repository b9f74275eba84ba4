// The world's JSON form: the default world, round trips, and the messages for bad worlds.
#include "sim/world/world.h"

#include <gtest/gtest.h>

namespace {

std::string loadError(std::string const& text) {
    sim::WorldData world;
    return sim::worldFromJson(text, world);
}

TEST(DefaultWorld, IsADesktopWithTheMakersMonitorALaptopPanelAndOneOfEachDevice) {
    sim::WorldData const& w = sim::defaultWorld();
    ASSERT_EQ(w.screens.size(), 2U);
    ASSERT_TRUE(w.screens[0].edid && w.screens[1].edid);
    EXPECT_TRUE(w.screens[0].edid->isOvakMonitor);
    EXPECT_FALSE(w.screens[1].edid->isOvakMonitor);
    ASSERT_TRUE(w.screens[0].edid->manufactureYear);
    ASSERT_EQ(w.monitors.size(), 1U);
    EXPECT_EQ(w.monitors[0].serial, w.screens[0].edid->serialNumber);
    EXPECT_EQ(w.monitors[0].product, w.screens[0].edid->productName);
    EXPECT_TRUE(w.monitors[0].sensor);
    EXPECT_EQ(w.sensors.size(), 1U);
    EXPECT_EQ(w.lightingDevices.size(), 1U);
    EXPECT_EQ(w.connectedSensors().size(), 2U);
    EXPECT_EQ(w.system.os.shortName, "Debian");
    EXPECT_NE(w.findGraphicsAdapter(w.screens[0].graphicsAdapter), nullptr);
}

TEST(WorldDocument, RoundTripsTheDefaultWorldAndAWorldWithGammaRamps) {
    std::string const first = sim::worldToJson(sim::defaultWorld(), true);
    sim::WorldData again;
    ASSERT_EQ(sim::worldFromJson(first, again), "");
    EXPECT_EQ(sim::worldToJson(again, true), first);

    again.screens[1].gamma.red[7] = 0.5;
    again.screens[1].profile = "";
    std::string const second = sim::worldToJson(again);
    sim::WorldData third;
    ASSERT_EQ(sim::worldFromJson(second, third), "");
    EXPECT_EQ(third.screens[1].gamma.red[7], 0.5);
    EXPECT_EQ(sim::worldToJson(third), second);
}

TEST(WorldDocument, LeavesOutSectionsAndMembersToTheirDefaults) {
    sim::WorldData w;
    ASSERT_EQ(sim::worldFromJson(R"({"screens":[{"id":"A","bounds":{"width":800,"height":600}}],
                                     "monitors":[{"serial":"S1","product":"P"}]})",
                                 w),
              "");
    ASSERT_EQ(w.screens.size(), 1U);
    EXPECT_EQ(w.screens[0].renderingSize.width, 800);
    EXPECT_EQ(w.screens[0].colorDepth, 24);
    EXPECT_TRUE(w.screens[0].gamma.isLinear());
    EXPECT_FALSE(w.screens[0].edid);
    EXPECT_EQ(w.monitors[0].productId, 0x4001);
    EXPECT_TRUE(w.monitors[0].attached);
    EXPECT_TRUE(w.sensors.empty());
    EXPECT_EQ(w.system.os.name, "");
    EXPECT_EQ(w.display.randrEventBase, 89);
}

TEST(WorldDocument, NamesThePathOfTheBadMember) {
    std::string const notJson = loadError("[1,2");
    EXPECT_EQ(notJson.rfind("the world is not valid JSON: ", 0), 0U) << notJson;
    EXPECT_GT(notJson.size(), std::string("the world is not valid JSON: ").size());
    EXPECT_EQ(loadError("[]"), "$: must be an object");
    EXPECT_EQ(loadError(R"({"screen":[]})"), "$.screen: unknown member");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","rotation":45}]})"),
              "$.screens[0].rotation: must be 0, 90, 180 or 270");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A"},{"bounds":{}}]})"),
              "$.screens[1].id: is required");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","bounds":{"width":-1}}]})"),
              "$.screens[0].bounds.width: must be between 0 and 2147483647");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A"},{"id":"A"}]})"),
              "$.screens[1].id: \"A\" is used twice");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","graphicsAdapter":"gpu"}]})"),
              "$.screens[0].graphicsAdapter: \"gpu\" names no entry of $.system.graphicsAdapters");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","gamma":{"red":[0,1]}}]})"),
              "$.screens[0].gamma.red: must be an array of 256 numbers");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","edid":{"manufactureYear":{"week":60}}}]})"),
              "$.screens[0].edid.manufactureYear.week: must be between 0 and 54");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","scale":{"x":0}}]})"),
              "$.screens[0].scale.x: must be greater than 0");
    EXPECT_EQ(loadError(R"({"screens":[{"id":"A","refreshRate":1e999}]})"),
              "$.screens[0].refreshRate: must be a finite number");
    EXPECT_EQ(loadError(R"({"monitors":[{"serial":"123456789","product":"P"}]})"),
              "$.monitors[0].serial: must be a string of 1 to 8 bytes");
    EXPECT_EQ(loadError(R"({"monitors":[{"serial":"1","product":"P","productId":"0x1G"}]})"),
              "$.monitors[0].productId: must be an integer or a hexadecimal string \"0x...\"");
    EXPECT_EQ(loadError(R"({"monitors":[{"serial":"1","product":"P","sensor":{"deviceId":7}}],
                            "sensors":[{"deviceId":7}]})"),
              "$.sensors[0].deviceId: 7 is used twice");
    EXPECT_EQ(loadError(R"({"system":{"ipAddresses":{"ipv4":[""]}}})"),
              "$.system.ipAddresses.ipv4[0]: must not be empty");
    EXPECT_EQ(loadError("{\"system\":{\"userName\":\"a\\u0000b\"}}"),
              "$.system.userName: must not contain NUL");
    EXPECT_EQ(loadError("{\"system\":{\"userName\":\"\xC3\"}}"),
              "$.system.userName: must be valid UTF-8");
    EXPECT_EQ(
        loadError(
            R"({"lightingDevices":[{"product":"L","serial":"X","status":{"retrieve":"no"}}]})"),
        "$.lightingDevices[0].status.retrieve: must be an integer");
}

} // namespace
