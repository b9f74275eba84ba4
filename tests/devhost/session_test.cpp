// Sessions that keep the plug-in loaded: the demo, scripts, the shell, and the help text.
#include "host_process.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using devhost_test::HostInput;
using devhost_test::linesOf;
using devhost_test::runHost;
using devhost_test::withoutTimestamp;

std::vector<std::string> untimedLines(std::string const& out) {
    std::vector<std::string> lines = linesOf(out);
    for (std::string& line : lines)
        line = withoutTimestamp(line);
    return lines;
}

// True when `expected` appear in `lines` in this order (other lines may come between).
::testing::AssertionResult appearInOrder(std::vector<std::string> const& lines,
                                         std::vector<std::string> const& expected) {
    auto at = lines.begin();
    for (std::string const& line : expected) {
        at = std::find(at, lines.end(), line);
        if (at == lines.end())
            return ::testing::AssertionFailure() << "missing or out of order: " << line;
        ++at;
    }
    return ::testing::AssertionSuccess();
}

std::string const kLoaded = std::string("host: loaded ") + TOLMAHOST_PLUGIN_FILE;
std::string const kGet405 =
    R"({"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null})";
std::string const kGetLog = "log [Tolma] 3: statusCode:405\tmethod:GET\turi:/tolma/"
                            "\terr:MethodError\tmsg:GET method is not allowed.";

TEST(Demo, TourListsScreensSeesTheScreenChangeAndUnloads) {
    auto const run = runHost({"demo"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.err, "");
    std::vector<std::string> const lines = untimedLines(run.out);
    EXPECT_TRUE(appearInOrder(lines, {
                                         kLoaded,
                                         "host: Setup()",
                                         "> resources",
                                         "the plug-in exports 19 of 19 resources:",
                                         "> world list",
                                         "> get SystemInformation --query {\"pc\":1,\"os\":1}",
                                         "status 200",
                                         "log [Tolma] 0: statusCode:200\tmethod:GET\turi:/tolma/"
                                         "System/Information\tmsg:Success",
                                         "> get SystemProcesses --params {\"process\":\"Xorg\"}",
                                         "status 200",
                                         R"({"error":null,"value":{"isRunning":true}})",
                                         "log [Tolma] 0: statusCode:200\tmethod:GET\turi:/tolma/"
                                         "System/Processes/Xorg\tmsg:Success",
                                         "> call SystemLoginItem",
                                         "status 405",
                                         kGet405,
                                         kGetLog,
                                         "> get Screens",
                                         "status 200",
                                         "log [Tolma] 0: statusCode:200\tmethod:GET\turi:/tolma/"
                                         "Screens\tmsg:Success",
                                         "log [Tolma] 0: statusCode:200\tmethod:GET\turi:/tolma/"
                                         "Screens/0\tmsg:Success",
                                         "world: screens changed",
                                         "log [Tolma] 3: event:screenChanged\tmsg:Screen changed",
                                         "> unplug monitor 23A04117",
                                         "world: monitor 23A04117 unplugged",
                                         "host: TearDown()",
                                         std::string("host: unloaded ") + TOLMAHOST_PLUGIN_FILE,
                                     }));
}

TEST(Demo, EveryLineIsTimeStamped) {
    auto const run = runHost({"demo"});
    for (std::string const& line : linesOf(run.out))
        EXPECT_NE(withoutTimestamp(line), line);
    auto const plain = runHost({"--no-timestamps", "demo"});
    EXPECT_EQ(linesOf(plain.out), untimedLines(run.out));
}

TEST(ScriptMode, RunsCommandsFromStandardInputEchoingEach) {
    HostInput input;
    input.arguments = {"--no-timestamps", "script", "-"};
    input.stdinText = "# a comment\n"
                      "say checking the login item\n"
                      "\n"
                      "get SystemLoginItem --query '{\"a\": 1}'\n"
                      "wait 0.1\n";
    auto const run = runHost(input);
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    std::vector<std::string> const lines = linesOf(run.out);
    EXPECT_TRUE(appearInOrder(lines, {
                                         "host: Setup()",
                                         "> # a comment",
                                         "> say checking the login item",
                                         "checking the login item",
                                         "> get SystemLoginItem --query '{\"a\": 1}'",
                                         "status 405",
                                         kGet405,
                                         kGetLog,
                                         "> wait 0.1",
                                         "host: TearDown()",
                                     }));
}

TEST(ScriptMode, StopsAtTheFirstFailingLineAndNamesIt) {
    HostInput input;
    input.arguments = {"--no-timestamps", "script", "-"};
    input.stdinText = "say one\n"
                      "call NoSuchResource\n"
                      "say never\n";
    auto const run = runHost(input);
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "tolmahost: <stdin>:2: call: unknown resource 'NoSuchResource' (see "
                       "'resources' for the list)\n");
    EXPECT_EQ(run.out.find("never\n"), std::string::npos);
    EXPECT_TRUE(appearInOrder(linesOf(run.out), {"one", "host: TearDown()"}));
}

TEST(ScriptMode, WaitingForAnEventThatDoesNotComeTimesOut) {
    HostInput input;
    input.arguments = {"script", "-"};
    input.stdinText = "wait event monitorChanged 0.3\n";
    auto const run = runHost(input);
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, "tolmahost: <stdin>:1: no 'monitorChanged' event within 0.3 s\n");
}

TEST(Shell, ReportsErrorsAndCarriesOn) {
    HostInput input;
    input.arguments = {"--no-timestamps", "shell"};
    input.stdinText = "bogus\n"
                      "wait soon\n"
                      "plug printer P1\n"
                      "call SystemLoginItem\n"
                      "quit\n"
                      "say after quit\n";
    auto const run = runHost(input);
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    std::vector<std::string> const lines = linesOf(run.out);
    EXPECT_TRUE(appearInOrder(lines, {
                                         "host: Setup()",
                                         "error: unknown command 'bogus' (see 'help')",
                                         "error: 'soon' is not a number of seconds (0 to 86400)",
                                         "error: unknown device kind 'printer'; usage: plug "
                                         "monitor|sensor|serial-sensor|lighting ID",
                                         "status 405",
                                         kGet405,
                                         "host: TearDown()",
                                     }));
    EXPECT_EQ(run.out.find("after quit"), std::string::npos);
}

TEST(Help, DocumentsEveryCommand) {
    auto const run = runHost({"--help"});
    EXPECT_EQ(run.exitStatus, 0);
    for (char const* command : {"call RESOURCE",   "shell",
                                "script FILE",     "demo",
                                "resources",       "get|put|post|delete",
                                "wait SECONDS",    "wait event NAME",
                                "events",          "say TEXT",
                                "idle reset",      "power disable",
                                "world load FILE", "world default",
                                "world show",      "world patch",
                                "plug monitor",    "unplug monitor",
                                "screens change",  "screens event",
                                "fail FUNCTION",   "quit",
                                "--plugin",        "--exports",
                                "--world",         "--no-log",
                                "--no-timestamps"})
        EXPECT_NE(run.out.find(command), std::string::npos) << command;
    EXPECT_EQ(runHost({"help"}).out, run.out);
}

} // namespace
