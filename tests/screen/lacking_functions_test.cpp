// Screen answers when the screen- and system-information libraries lack their optional functions.
#include "plugin_test.h"
#include "screen_worlds.h"
#include "sim/sim_control.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace screentest;
using namespace test;

// This executable links the variants without MiGetScreenPixelRatio, MiGetEdidManufactureYear and
// OrmGetVGADeviceLocationID, and its exports directory holds them under the run-time names.
ReplacedInExports const kScrinfo2Variant("libscrinfo2_x64.so", TOLMA_SCRINFO2_VARIANT);
ReplacedInExports const kOrmicVariant("libormic_x64.so", TOLMA_ORMIC_VARIANT);

class LackingFunctions : public PluginTest {
protected:
    void SetUp() override { SimScrinfoResetCounts(); }
    void TearDown() override {
        EXPECT_EQ(SimScrinfoStaleHandleCount(), 0u);
        EXPECT_EQ(SimOrmicViolationCount(), 0u);
    }
};

TEST_F(LackingFunctions, DescriptionsLeaveOutPixelRatioAndManufactureYearOnly) {
    for (DescriptionRow const& row : descriptionRows()) {
        SCOPED_TRACE(row.what);
        ASSERT_NO_FATAL_FAILURE(loadWorld(worldOf("[" + row.screen + "]")));
        std::string const expected =
            withoutMember(withoutMember(row.description, "pixelRatio"), "manufactureYear");
        ASSERT_EQ(expected.find("pixelRatio"), std::string::npos);
        ASSERT_EQ(expected.find("manufactureYear"), std::string::npos);
        EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})"), ok("GET", "Screens/0", expected));
        EXPECT_EQ(call("Screens", "put", "{}"), ok("PUT", "Screens", "[" + expected + "]"));
    }
}

TEST_F(LackingFunctions, GraphicsCardLeavesOutTheDeviceLocationOnly) {
    ASSERT_NO_FATAL_FAILURE(loadWorld(worldOf("[" + descriptionRows()[0].screen + "]")));
    std::string const expected = withoutMember(kGraphicsCard, "deviceLocationId");
    ASSERT_EQ(expected.find("deviceLocationId"), std::string::npos);
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":0})", R"({"graphicsCard":1})"),
              ok("GET", "Screens/0", expected));
}

} // namespace
