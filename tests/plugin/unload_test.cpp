// Unloading and exiting with plug-in work in flight, each case in a child process with a deadline.
#include "child_process.h"
#include "sim/host/exports_directory.h"
#include "sim/host/plugin.h"
#include "sim/devices/devices_testing.h"
#include "sim/sim_control.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <map>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

extern char** environ;

namespace {

using namespace std::chrono_literals;

char const* const kScreens =
    R"([{"id":"DP-1","bounds":{"x":0,"y":0,"width":1920,"height":1080},"primary":true}])";

// How long the slowed screen search takes: a re-read started by a screen change is inside it from
// the watcher's 3 s delay on, for this long.
constexpr std::uint32_t kSlowSearchMs = 2000;
// From a screen change to the middle of its slowed re-read.
constexpr auto kIntoTheReRead = 3000ms + std::chrono::milliseconds(kSlowSearchMs / 2);

// ---- the child's side: one scenario, its exit status the verdict ------------------------------

// The plug-in as a host holds it, over an exports directory of the stand-ins.
struct Host {
    sim::host::ExportsDirectory exports;
    sim::host::ExportsPathScope scope{exports.path()};
    sim::host::Plugin plugin;

    bool load() {
        if (!plugin.open(TOLMA_PLUGIN_PATH)) {
            std::fprintf(stderr, "cannot load: %s\n", plugin.error().c_str());
            return false;
        }
        return plugin.setup();
    }
    int call(char const* resource, char const* options) const {
        return plugin.resource(resource)(options, "{}", "{}", "");
    }
};

// Screens PUT switches the watch on; after the first 50 ms (and TearDown when asked) a screen
// change starts a re-read, whose screen search then stays slow.
bool watchAndChangeScreens(Host& host, bool tearDown = false) {
    if (SimWorldSetScreens(kScreens) != nullptr || !host.load())
        return false;
    host.call("Screens", R"({"method":"put"})");
    std::this_thread::sleep_for(120ms);
    if (tearDown)
        host.plugin.tearDown();
    SimScrinfoSetFindScreensDelay(kSlowSearchMs);
    return SimWorldModify("screens", "DP-1", R"({"bounds":{"width":1600}})") == nullptr;
}

std::size_t countEntries(char const* directory) {
    std::size_t n = 0;
    if (DIR* dir = opendir(directory)) {
        while (dirent const* entry = readdir(dir))
            n += entry->d_name[0] != '.';
        closedir(dir);
    }
    return n;
}

int unloadWhileTheReReadRuns(bool tearDown) {
    Host host;
    if (!watchAndChangeScreens(host, tearDown))
        return 2;
    std::this_thread::sleep_for(kIntoTheReRead);
    std::size_t const searches = SimScrinfoFindScreensCount();
    if (host.plugin.close() != 0)
        return 3;
    std::fprintf(stderr, "unloaded\n");
    if (tearDown) {
        // No re-read ran or runs: nothing is searched or pushed after TearDown.
        std::this_thread::sleep_for(std::chrono::milliseconds(kSlowSearchMs) + 500ms);
        if (SimScrinfoFindScreensCount() != searches || SimPageBridgeEventCount() != 0)
            return 4;
    }
    return 0;
}

int exitWhileTheReReadRuns(bool unloadFirst) {
    static Host* host = new Host; // the host's own objects outlive the exit handlers
    if (!watchAndChangeScreens(*host))
        return 2;
    std::this_thread::sleep_for(kIntoTheReRead);
    if (unloadFirst && host->plugin.close() != 0)
        return 3;
    std::exit(0);
}

int loadAndUnloadManyTimes() {
    if (SimWorldSetScreens(kScreens) != nullptr)
        return 2;
    Host host;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    for (int cycle = 0; cycle < 1000; ++cycle) {
        if (!host.load())
            return 3;
        host.call("Screens", R"({"method":"get"})");
        SimWorldDeliverScreenEvent(0);
        host.call("ScreenAtIndex", R"({"method":"get"})");
        host.plugin.tearDown();
        if (host.plugin.close() != 0)
            return 4;
        if (cycle == 0) {
            descriptors = countEntries("/proc/self/fd");
            threads = countEntries("/proc/self/task");
        }
    }
    std::size_t const descriptorsNow = countEntries("/proc/self/fd");
    std::size_t const threadsNow = countEntries("/proc/self/task");
    std::fprintf(stderr, "descriptors %zu -> %zu, threads %zu -> %zu, answers %zu\n", descriptors,
                 descriptorsNow, threads, threadsNow, SimPageBridgeResponseCount());
    bool const flat = descriptorsNow == descriptors && threadsNow == threads;
    return flat && SimPageBridgeResponseCount() == 2000 && SimPageBridgeViolationCount() == 0 ? 0
                                                                                             : 5;
}

// Hot-plug watching on, then the default world's monitor, sensor and lighting device unplugged
// and the monitor plugged in again: the watcher holds the monitor for its settling second and
// updates wait on their threads.
bool watchAndPlugDevices(Host& host) {
    if (!host.load())
        return false;
    host.call("DeviceNotification", R"({"method":"put"})");
    char const* const changes[][2] = {
        {"sensors", "2001"}, {"lightingDevices", "LB500042"}, {"monitors", "23A04117"}};
    for (auto const& change : changes)
        if (SimWorldSetAttached(change[0], change[1], 0) != nullptr)
            return false;
    if (SimWorldSetAttached("monitors", "23A04117", 1) != nullptr)
        return false;
    std::this_thread::sleep_for(200ms);
    return true;
}

// After TearDown nothing runs: no event, no libusb context, no call of a gone context.
int unloadWithHotplugInFlight(bool tearDown) {
    Host host;
    if (!watchAndPlugDevices(host))
        return 2;
    if (tearDown)
        host.plugin.tearDown();
    std::size_t const events = SimPageBridgeEventCount();
    if (host.plugin.close() != 0)
        return 3;
    std::fprintf(stderr, "unloaded\n");
    if (tearDown) {
        std::this_thread::sleep_for(2000ms);
        sim::DeviceStandIn const usb(sim::fakeLibusbPath(), "Usb");
        auto contexts = usb.function<decltype(&SimUsbContextCount)>("SimUsbContextCount");
        if (contexts == nullptr || contexts() != 0 || usb.violations() != 0 ||
            SimPageBridgeEventCount() != events)
            return 4;
    }
    return 0;
}

int exitWithHotplugInFlight() {
    static Host* host = new Host; // the host's own objects outlive the exit handlers
    if (!watchAndPlugDevices(*host))
        return 2;
    std::exit(0);
}

std::map<std::string, std::function<int()>> const& scenarios() {
    static std::map<std::string, std::function<int()>> const all = {
        {"unload-after-teardown", [] { return unloadWhileTheReReadRuns(true); }},
        {"unload-without-teardown", [] { return unloadWhileTheReReadRuns(false); }},
        {"exit-without-teardown", [] { return exitWhileTheReReadRuns(false); }},
        {"exit-after-unloading", [] { return exitWhileTheReReadRuns(true); }},
        {"load-unload-cycles", loadAndUnloadManyTimes},
        {"hotplug-unload-after-teardown", [] { return unloadWithHotplugInFlight(true); }},
        {"hotplug-unload-without-teardown", [] { return unloadWithHotplugInFlight(false); }},
        {"hotplug-exit-without-teardown", exitWithHotplugInFlight},
    };
    return all;
}

// ---- the parent's side -----------------------------------------------------------------------


bool sanitizerSpoke(std::string const& err) {
    return err.find("Sanitizer") != std::string::npos || err.find("runtime error") != std::string::npos;
}

struct Case {
    char const* scenario;
    char const* expectOnStderr; // "" when nothing particular
};

class UnloadAndExit : public ::testing::TestWithParam<Case> {};

TEST_P(UnloadAndExit, FinishesCleanWithinTheDeadline) {
    Case const c = GetParam();
    test::ProcessRun const run = test::runScenario(c.scenario, 60s);
    EXPECT_FALSE(run.timedOut) << c.scenario << " hung; its stderr:\n" << run.err;
    EXPECT_EQ(run.signal, 0) << run.err;
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_FALSE(sanitizerSpoke(run.err)) << run.err;
    EXPECT_NE(run.err.find(c.expectOnStderr), std::string::npos) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    WorkInFlight, UnloadAndExit,
    ::testing::Values(Case{"unload-after-teardown", "unloaded"},
                      Case{"unload-without-teardown", "unloaded"},
                      Case{"exit-without-teardown", ""}, Case{"exit-after-unloading", ""},
                      Case{"load-unload-cycles", "answers 2000"},
                      Case{"hotplug-unload-after-teardown", "unloaded"},
                      Case{"hotplug-unload-without-teardown", "unloaded"},
                      Case{"hotplug-exit-without-teardown", ""}),
    [](::testing::TestParamInfo<Case> const& param) {
        std::string name = param.param.scenario;
        for (char& c : name)
            c = c == '-' ? '_' : c;
        return name;
    });

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--scenario=", 11) != 0)
            continue;
        auto const found = scenarios().find(argv[i] + 11);
        return found == scenarios().end() ? 100 : found->second();
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
