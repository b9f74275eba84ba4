// kavri::screen::ScreenManager in-process: the "screenChanged" event, its baseline, listings.
#include "platform/scrinfo2.h"
#include "screen/screen_manager.h"
#include "screen_worlds.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using kavri::screen::ScreenManager;
using namespace screentest;

using sim::host::logLines;

std::string replaced(std::string text, std::string const& from, std::string const& to) {
    std::size_t const at = text.find(from);
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// The screen of the first description row ("S") and a second one ("T") beside it.
std::string const kScreenS = descriptionRows()[0].screen;
std::string const kDescriptionS = descriptionRows()[0].description;
std::string const kScreenT = replaced(descriptionRows()[1].screen, R"("id":"S")", R"("id":"T")");

class ScreenManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimWorldClearFailures();
        SimScrinfoResetCounts();
    }
    void TearDown() override {
        SimWorldClearFailures();
        EXPECT_EQ(SimScrinfoStaleHandleCount(), 0u);
    }
    // Loads the screens, lists them and takes them as the baseline, then forgets what the host
    // recorded.
    static void watch(std::string const& screens) {
        ASSERT_EQ(SimWorldLoad(worldOf(screens).c_str()), nullptr);
        manager().update();
        manager().storeCurrentScreens();
        SimPageBridgeReset();
        SimOstranaReset();
    }
    static ScreenManager& manager() { return ScreenManager::Instance(); }
};

sim::LogLine const kChangedLine{3, "Tolma", "event:screenChanged\tmsg:Screen changed"};

TEST_F(ScreenManagerTest, AChangeIsDispatchedOnceWithTheFullArray) {
    ASSERT_NO_FATAL_FAILURE(watch("[" + kScreenS + "]"));
    ASSERT_EQ(SimWorldModify("screens", "S", R"({"rotation":180})"), nullptr);
    manager().updateAndDispatchEvent();
    std::string const changed =
        "[" + replaced(kDescriptionS, R"("rotation":90)", R"("rotation":180)") + "]";
    EXPECT_EQ(sim::host::events(), (std::vector<sim::Event>{{"screenChanged", changed}}));
    EXPECT_EQ(logLines(), std::vector<sim::LogLine>{kChangedLine});
    manager().updateAndDispatchEvent();
    EXPECT_EQ(sim::host::events().size(), 1u);
    EXPECT_EQ(logLines().size(), 1u);
}

TEST_F(ScreenManagerTest, NoScreensAtAllDispatchNothingAndKeepTheBaseline) {
    ASSERT_NO_FATAL_FAILURE(watch("[" + kScreenS + "," + kScreenT + "]"));
    ASSERT_EQ(SimWorldSetScreens("[]"), nullptr);
    manager().updateAndDispatchEvent();
    EXPECT_EQ(manager().getScreensInfoString(), "[]");
    ASSERT_EQ(SimWorldSetScreens(("[" + kScreenS + "," + kScreenT + "]").c_str()), nullptr);
    manager().updateAndDispatchEvent();
    EXPECT_TRUE(sim::host::events().empty());
    EXPECT_TRUE(logLines().empty());
    // A failed search also lists no screen.
    SimWorldFailCalls("MiFindScreens", 1);
    manager().updateAndDispatchEvent();
    manager().updateAndDispatchEvent();
    EXPECT_TRUE(sim::host::events().empty());
    ASSERT_EQ(SimWorldSetScreens(("[" + kScreenT + "]").c_str()), nullptr);
    manager().updateAndDispatchEvent();
    EXPECT_EQ(sim::host::events().size(), 1u);
}

TEST_F(ScreenManagerTest, ChangingAnyDescribedKeyOfOneScreenDispatchesOnce) {
    struct Row {
        char const* screen;
        char const* patch;
        std::size_t events;
    } const rows[] = {
        {"S", R"({"bounds":{"x":11}})", 1},
        {"T", R"({"colorDepth":32})", 1},
        {"S", R"({"refreshRate":59.95})", 1},
        {"T", R"({"scale":{"y":1.75}})", 1},
        {"S", R"({"renderingSize":{"width":1280}})", 1},
        {"T", R"({"primary":true})", 1},
        {"S", R"({"mirroring":true})", 1},
        {"S", R"({"supportsGraphicsCardGamma":false})", 1},
        {"T", R"({"pixelRatio":{"x":1.5}})", 1},
        {"S", R"({"edid":{}})", 1},
        {"T", R"({"edid":{"serialNumber":"12345679"}})", 1},
        {"T", R"({"edid":{"chromaticity":{"white":{"y":0.5}}}})", 1},
        {"T", R"({"edid":{"manufactureYear":{"week":1}}})", 1},
        {"T", R"({"edid":{"manufactureYear":null}})", 1},
        // Not part of the description.
        {"S", R"({"profile":"/icc/other.icc"})", 0},
        {"T", R"({"graphicsAdapter":""})", 0},
    };
    for (Row const& row : rows) {
        ASSERT_NO_FATAL_FAILURE(watch("[" + kScreenS + "," + kScreenT + "]"));
        std::string const before = manager().getScreensInfoString();
        ASSERT_EQ(SimWorldModify("screens", row.screen, row.patch), nullptr) << row.patch;
        manager().updateAndDispatchEvent();
        manager().updateAndDispatchEvent();
        std::vector<sim::Event> const events = sim::host::events();
        ASSERT_EQ(events.size(), row.events) << row.patch;
        if (row.events == 1) {
            EXPECT_EQ(events[0].name, "screenChanged");
            EXPECT_NE(events[0].json, before) << row.patch;
            EXPECT_EQ(events[0].json, manager().getScreensInfoString()) << row.patch;
        }
    }
}

TEST_F(ScreenManagerTest, InfoStringIsAnEmptyArrayWithoutScreens) {
    ASSERT_EQ(SimWorldLoad(worldOf("[]").c_str()), nullptr);
    manager().update();
    EXPECT_EQ(manager().getScreensInfoString(), "[]");
    ASSERT_EQ(SimWorldLoad(worldOf("[" + kScreenS + "]").c_str()), nullptr);
    manager().update();
    EXPECT_EQ(manager().getScreensInfoString(), "[" + kDescriptionS + "]");
    manager().release();
    EXPECT_TRUE(manager().empty());
    EXPECT_EQ(manager().getScreensInfoString(), "[]");
}

TEST_F(ScreenManagerTest, ProfileIsFalseWithOutputUntouchedWhenThereIsNone) {
    ASSERT_EQ(SimWorldLoad(worldOf(R"([{"id":"S"},{"id":"T","profile":"/icc/t.icc"}])").c_str()),
              nullptr);
    manager().update();
    std::vector<MiScreen*> const screens = manager().getScreens();
    ASSERT_EQ(screens.size(), 2u);
    std::string path = "untouched";
    EXPECT_FALSE(manager().getScreenProfile(screens[0], path));
    EXPECT_EQ(path, "untouched");
    SimWorldFailCalls("MiGetScreenProfile", 1);
    EXPECT_FALSE(manager().getScreenProfile(screens[1], path));
    EXPECT_EQ(path, "untouched");
    EXPECT_TRUE(manager().getScreenProfile(screens[1], path));
    EXPECT_EQ(path, "/icc/t.icc");
}

TEST_F(ScreenManagerTest, ListingsSkipAnIndexWithoutAScreen) {
    // S at the origin with monitor OVK-P24 12345678; T mirrors it on the same monitor.
    std::string const monitorS =
        replaced(kScreenS, R"("id":"S")",
                 R"("id":"S","edid":{"productName":"OVK-P24","serialNumber":"12345678"})");
    std::string const mirrorT = replaced(kScreenT, R"("x":-3840)", R"("x":0)");
    ASSERT_EQ(SimWorldLoad(worldOf("[" + monitorS + "," + mirrorT + "]").c_str()), nullptr);
    manager().update();
    struct Row {
        char const* failing;
        std::vector<MiScreen*> (*list)();
    } const rows[] = {
        {"MiGetScreenAtIndex", [] { return manager().getScreens(); }},
        {"MiGetScreenForPointAtIndex", [] { return manager().getScreensForPoint(15, 25); }},
        {"MiGetScreenForMonitorAtIndex",
         [] { return manager().getScreensForMonitor("OVK-P24", "12345678"); }},
    };
    for (Row const& row : rows) {
        ASSERT_EQ(row.list().size(), 2u) << row.failing;
        SimWorldFailCalls(row.failing, 1);
        std::vector<MiScreen*> const screens = row.list();
        ASSERT_EQ(screens.size(), 1u) << row.failing;
        EXPECT_EQ(MiGetScreenRotation(screens[0]), 0) << row.failing; // T, not S (90)
    }
}

} // namespace
