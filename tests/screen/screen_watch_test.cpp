// The screen-change watch through libtolma.so.2 in real time: "screenChanged" 3 s after a change.
#include "plugin_test.h"
#include "screen_worlds.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace screentest;
using namespace test;

using sim::host::logLines;

class ScreenWatch : public PluginTest {
protected:
    // The watch off while the world (with RandR events) is loaded, then on through Screens GET,
    // which lists the screens and takes them as the baseline. The watcher drops events that come
    // 50 ms or less after it starts, so the test waits past that.
    void SetUp() override {
        ASSERT_EQ(call("Screens", "delete", "{}").status, 200);
        std::string const world =
            R"({"screens":[)" + descriptionRows()[0].screen + "]," + kAdapters + "}";
        ASSERT_EQ(SimWorldLoad(world.c_str()), nullptr);
        ASSERT_EQ(call("Screens", "get", "{}"),
                  ok("GET", "Screens", "[" + descriptionRows()[0].description + "]"));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        SimScrinfoResetCounts();
        SimPageBridgeReset();
        SimOstranaReset();
    }
};

TEST_F(ScreenWatch, AChangeIsPushedOnceWithTheNewScreens) {
    ASSERT_EQ(SimWorldModify("screens", "S", R"({"bounds":{"width":1280,"height":720}})"), nullptr);
    ASSERT_EQ(SimPageBridgeWaitForEvents(1, 10000), 1);
    // The host's stop: after it no re-read is waiting or running.
    tearDownPlugin();
    std::string description = descriptionRows()[0].description;
    std::string const bounds = R"({"height":1080,"width":1920,"x":10,"y":20})";
    description.replace(description.find(bounds), bounds.size(),
                        R"({"height":720,"width":1280,"x":10,"y":20})");
    EXPECT_EQ(sim::host::events(),
              (std::vector<sim::Event>{{"screenChanged", "[" + description + "]"}}));
    EXPECT_EQ(logLines(),
              (std::vector<sim::LogLine>{{3, "Tolma", "event:screenChanged\tmsg:Screen changed"}}));
    EXPECT_EQ(SimScrinfoFindScreensCount(), 1u);
    EXPECT_EQ(SimScrinfoStaleHandleCount(), 0u);
}

TEST_F(ScreenWatch, AChangeToNoScreensIsNotPushed) {
    ASSERT_EQ(SimWorldSetScreens("[]"), nullptr);
    // The delayed re-read lists the screens again; then it has nothing to push.
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (SimScrinfoFindScreensCount() == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_EQ(SimScrinfoFindScreensCount(), 1u);
    tearDownPlugin();
    EXPECT_TRUE(sim::host::events().empty());
    EXPECT_TRUE(logLines().empty());
}

} // namespace
