// The world commands: loading worlds, plugging devices, and a world's errors as one line.
#include "host_process.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

using devhost_test::HostInput;
using devhost_test::linesOf;
using devhost_test::runHost;

// A world file for the test's lifetime.
class WorldFile {
public:
    explicit WorldFile(std::string const& json) {
        char pattern[] = "/tmp/tolmahost-world-XXXXXX";
        int const fd = mkstemp(pattern);
        if (fd >= 0)
            close(fd);
        path_ = pattern;
        std::ofstream(path_) << json;
    }
    ~WorldFile() { std::remove(path_.c_str()); }
    WorldFile(WorldFile const&) = delete;
    WorldFile& operator=(WorldFile const&) = delete;
    std::string const& path() const { return path_; }

private:
    std::string path_;
};

char const kSmallWorld[] =
    R"({"screens": [{"id": "HDMI-1", "bounds": {"x": 0, "y": 0, "width": 1920, "height": 1080},)"
    R"( "primary": true}],)"
    R"( "monitors": [{"serial": "12345678", "product": "OVK-P24",)"
    R"( "sensor": {"deviceId": 41}}]})";

devhost_test::HostRun script(std::vector<std::string> hostOptions, std::string const& commands) {
    HostInput input;
    input.arguments = std::move(hostOptions);
    input.arguments.insert(input.arguments.begin(), "--no-timestamps");
    input.arguments.push_back("script");
    input.arguments.push_back("-");
    input.stdinText = commands;
    return runHost(input);
}

bool has(std::string const& out, std::string const& line) {
    std::vector<std::string> const lines = linesOf(out);
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(WorldCommands, WorldOptionLoadsAFileBeforeSetup) {
    WorldFile const world(kSmallWorld);
    auto const run = script({"--world", world.path()}, "world list\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_TRUE(has(run.out, "screen HDMI-1 1920x1080 at 0,0, primary")) << run.out;
    EXPECT_TRUE(has(run.out, "monitor 12345678 OVK-P24, attached, built-in sensor 41")) << run.out;
}

TEST(WorldCommands, UnplugAndPlugShowInTheWorld) {
    WorldFile const world(kSmallWorld);
    auto const run = script({}, "world load " + world.path() +
                                    "\n"
                                    "unplug monitor 12345678\n"
                                    "world list\n"
                                    "plug monitor 12345678\n"
                                    "world list\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    std::vector<std::string> const lines = linesOf(run.out);
    auto const detached = std::find(lines.begin(), lines.end(),
                                    "monitor 12345678 OVK-P24, detached, built-in sensor 41");
    ASSERT_NE(detached, lines.end()) << run.out;
    EXPECT_NE(
        std::find(detached, lines.end(), "monitor 12345678 OVK-P24, attached, built-in sensor 41"),
        lines.end())
        << run.out;
}

TEST(WorldCommands, DefaultWorldComesBack) {
    WorldFile const world(kSmallWorld);
    auto const run = script({"--world", world.path()}, "world default\nworld list\n");
    EXPECT_TRUE(has(run.out, "world: the default world, no failing calls"));
    EXPECT_FALSE(has(run.out, "screen HDMI-1 1920x1080 at 0,0, primary"));
}

TEST(WorldCommands, AWorldWithErrorsIsOneLineNamingTheMember) {
    WorldFile const world(R"({"screens": [{"id": "A", "rotation": 45}]})");
    auto const byOption = runHost({"--world", world.path(), "call", "Screens"});
    EXPECT_EQ(byOption.exitStatus, 1);
    EXPECT_EQ(byOption.out, "");
    ASSERT_EQ(linesOf(byOption.err).size(), 1u) << byOption.err;
    EXPECT_EQ(byOption.err.rfind("tolmahost: " + world.path() + ": $.screens[0].rotation", 0), 0u)
        << byOption.err;

    auto const byCommand = script({}, "world load " + world.path() + "\nsay never\n");
    EXPECT_EQ(byCommand.exitStatus, 1);
    EXPECT_EQ(byCommand.err.rfind("tolmahost: <stdin>:1: " + world.path() + ": $.screens[0]", 0),
              0u)
        << byCommand.err;
    EXPECT_FALSE(has(byCommand.out, "never"));
}

TEST(WorldCommands, UnknownDeviceIsAnError) {
    auto const run = script({}, "unplug sensor 999999\n");
    EXPECT_EQ(run.exitStatus, 1);
    ASSERT_EQ(linesOf(run.err).size(), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("tolmahost: <stdin>:1: unplug sensor 999999: ", 0), 0u) << run.err;
}

TEST(WorldCommands, MalformedWorldCommandsAreUsageErrors) {
    struct Case {
        char const* command;
        char const* error;
    } const cases[] = {
        {"plug printer P1", "unknown device kind 'printer'; usage: plug "
                            "monitor|sensor|serial-sensor|lighting ID"},
        {"world", "usage: world load FILE | world default | world list | world show | world "
                  "patch JSON"},
        {"screens change", "usage: screens change JSON | screens event"},
        {"fail MiFindScreens -2", "fail: '-2' is not a count (0 to 2147483647) or always"},
        {"world patch {oops", "world patch is not valid JSON ("},
    };
    for (Case const& c : cases) {
        auto const run = script({}, std::string(c.command) + "\n");
        EXPECT_EQ(run.exitStatus, 2) << c.command;
        EXPECT_EQ(run.err.rfind(std::string("tolmahost: <stdin>:1: ") + c.error, 0), 0u) << run.err;
    }
}

TEST(AbsentLibraries, LoggingLibraryLeftOutMeansNoLogLines) {
    auto const run = runHost({"--absent", "ostrana2", "call", "SystemLoginItem"});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out, "status 405\n"
                       R"({"error":{"message":"GET method is not allowed.","name":"MethodError"},)"
                       R"("value":null})"
                       "\n");
    EXPECT_NE(run.err.find("no log lines are shown"), std::string::npos) << run.err;
}

TEST(AbsentLibraries, UnknownLibraryIsRefused) {
    auto const run = runHost({"--absent", "libnothing.so", "call", "Screens"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, "tolmahost: --absent libnothing.so: no such library in " +
                           std::string(TOLMA_SIM_LIBRARY_DIR) + "\n");
}

} // namespace
