// TearDown before unloading libtolma.so.2: a waiting screen re-read never runs, loaded or not.
#include "plugin_test.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

char const* const kScreens =
    R"([{"id":"DP-1","bounds":{"x":0,"y":0,"width":1920,"height":1080},"primary":true}])";

// The plug-in opened as a host opens it for each test, with the stand-ins as its exports
// directory.
class TearDownTest : public test::PluginTest {
protected:
    static void SetUpTestSuite() {}
    static void TearDownTestSuite() {}
    void SetUp() override {
        SimWorldReset();
        ASSERT_EQ(SimWorldSetScreens(kScreens), nullptr);
        SimPageBridgeReset();
        SimScrinfoResetCounts();
        logging().reset();
        openPlugin();
    }
    void TearDown() override {
        closePlugin();
        SimWorldReset();
    }

    // Lists the screens, which starts the watch, and waits past the watcher's first 50 ms.
    void listScreensAndWatch() {
        test::Answer const listed = call("Screens", "get", "{}", "{}", "");
        ASSERT_EQ(listed.status, 200) << listed;
        ASSERT_EQ(SimPageBridgeObserverCount(), 1u);
        std::this_thread::sleep_for(std::chrono::milliseconds(120));
    }

    static void resize(int width) {
        std::string const patch = R"({"bounds":{"width":)" + std::to_string(width) + "}}";
        ASSERT_EQ(SimWorldModify("screens", "DP-1", patch.c_str()), nullptr);
    }

    // Longer than the re-read's 3 s delay.
    static void outwaitTheDelay() { std::this_thread::sleep_for(std::chrono::milliseconds(3500)); }
};

TEST_F(TearDownTest, NoReReadRunsAfterTearDownAndUnloading) {
    listScreensAndWatch();
    std::size_t const reads = SimScrinfoFindScreensCount();
    resize(1600);
    EXPECT_TRUE(plugin().tearDown());
    EXPECT_EQ(plugin().close(), 0);
    // The plug-in's singletons live until exit, so unloading leaves it mapped and registered; with
    // the watch off, screen changes start nothing.
    resize(1280);
    outwaitTheDelay();
    EXPECT_EQ(SimPageBridgeEventCount(), 0u);
    EXPECT_EQ(SimScrinfoFindScreensCount(), reads);
}

TEST_F(TearDownTest, TearDownSwitchesTheWatchOffUntilTheScreensAreListedAgain) {
    listScreensAndWatch();
    std::size_t const reads = SimScrinfoFindScreensCount();
    resize(1600);
    EXPECT_TRUE(plugin().tearDown());
    resize(1700);
    outwaitTheDelay();
    EXPECT_EQ(SimPageBridgeEventCount(), 0u);
    EXPECT_EQ(SimScrinfoFindScreensCount(), reads);

    // A Screens PUT switches the watch on again: the next change is pushed after its delay.
    plugin().resource("Screens")(R"({"method":"put"})", "{}", "{}", "");
    SimPageBridgeReset();
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    resize(1280);
    ASSERT_EQ(SimPageBridgeWaitForEvents(1, 20000), 1);
    std::vector<sim::Event> const events = sim::host::events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].name, "screenChanged");
    EXPECT_NE(events[0].json.find(R"("bounds":{"height":1080,"width":1280,"x":0,"y":0})"),
              std::string::npos)
        << events[0].json;
    // The payload is the full list as the page reads it now.
    plugin().resource("Screens")(R"({"method":"get"})", "{}", "{}", "");
    std::vector<sim::Response> const responses = sim::host::responses();
    ASSERT_EQ(responses.size(), 1u);
    EXPECT_EQ(responses[0].json, R"({"error":null,"value":)" + events[0].json + "}");
    sim::LogLine const changed{3, "Tolma", "event:screenChanged\tmsg:Screen changed"};
    std::vector<sim::LogLine> const lines = logging().lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), changed), 1);
}

} // namespace
