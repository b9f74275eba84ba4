// The call command: one request, its status, answer and log line, exactly as printed.
#include "host_process.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using devhost_test::runHost;

std::string methodError(std::string const& upper) {
    return "status 405\n"
           R"({"error":{"message":")" +
           upper +
           R"( method is not allowed.","name":"MethodError"},"value":null})"
           "\n"
           "log [Tolma] 3: statusCode:405\tmethod:" +
           upper + "\turi:/tolma/\terr:MethodError\tmsg:" + upper + " method is not allowed.\n";
}

TEST(CallCommand, PrintsStatusAnswerAndLogLineOfOneRequest) {
    auto const run = runHost({"call", "SystemLoginItem", "--method", "get"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, methodError("GET"));
    EXPECT_EQ(run.err, "");
}

TEST(CallCommand, MethodDefaultsToGet) {
    // The event-log backup serves POST only.
    EXPECT_EQ(runHost({"call", "SystemEventLogBackup"}).out, methodError("GET"));
}

TEST(CallCommand, MethodReachesThePlugInInTheOptions) {
    // The event-log backup serves POST only.
    EXPECT_EQ(runHost({"call", "SystemEventLogBackup", "--method", "delete"}).out,
              methodError("DELETE"));
    EXPECT_EQ(runHost({"call", "SystemEventLogBackup", "--method=get"}).out, methodError("GET"));
    EXPECT_EQ(runHost({"call", "SystemEventLogBackup", "--options", R"({"method":"PUT"})"}).out,
              methodError("PUT"));
}

TEST(CallCommand, ParametersQueryAndBodyAreAccepted) {
    // The index selects the second screen, the query asks for its graphics card.
    auto const run = runHost({"call", "ScreenAtIndex", "--params", R"({"index":1})", "--query",
                              R"({"graphicsCard":[1,2]})", "--body", "not json at all"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out.rfind("status 200\n", 0), 0u) << run.out;
    EXPECT_NE(run.out.find(R"("driverName":"i915")"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\turi:/tolma/Screens/1\t"), std::string::npos) << run.out;
}

TEST(CallCommand, PrettyAnswerIsIndentedTwoSpacesPerLevel) {
    auto const run = runHost({"call", "SystemLoginItem", "--pretty"});
    EXPECT_EQ(run.out, "status 405\n"
                       "{\n"
                       "  \"error\": {\n"
                       "    \"message\": \"GET method is not allowed.\",\n"
                       "    \"name\": \"MethodError\"\n"
                       "  },\n"
                       "  \"value\": null\n"
                       "}\n"
                       "log [Tolma] 3: statusCode:405\tmethod:GET\turi:/tolma/\terr:MethodError"
                       "\tmsg:GET method is not allowed.\n");
}

TEST(CallCommand, NoLogHidesTheLogLine) {
    auto const run = runHost({"--no-log", "call", "SystemLoginItem"});
    EXPECT_EQ(run.out, "status 405\n"
                       R"({"error":{"message":"GET method is not allowed.","name":"MethodError"},)"
                       R"("value":null})"
                       "\n");
}

TEST(ExportsDirectory, EnvironmentVariableChoosesIt) {
    // An exports directory without the logging library: the answer, and no log line.
    char directory[] = "/tmp/tolmahost-exports-XXXXXX";
    ASSERT_NE(mkdtemp(directory), nullptr);
    devhost_test::HostInput input;
    input.arguments = {"call", "SystemLoginItem"};
    input.environment = {{"TOLMA_SIM_EXPORTS_DIR", directory}};
    auto const run = runHost(input);
    rmdir(directory);
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out, "status 405\n"
                       R"({"error":{"message":"GET method is not allowed.","name":"MethodError"},)"
                       R"("value":null})"
                       "\n");
    EXPECT_EQ(run.err, "tolmahost: no logging library at " + std::string(directory) +
                           "/libostrana2_x64.so; no log lines are shown\n");
}

TEST(ExportsDirectory, OptionOverridesTheEnvironment) {
    devhost_test::HostInput input;
    input.arguments = {"--exports", TOLMA_SIM_LIBRARY_DIR, "call", "SystemLoginItem"};
    input.environment = {{"TOLMA_SIM_EXPORTS_DIR", "/"}};
    EXPECT_EQ(runHost(input).out, methodError("GET"));
}

TEST(ResourcesCommand, ListsEveryExportedFunction) {
    auto const run = runHost({"resources"});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out.substr(0, run.out.find('\n')), "the plug-in exports 19 of 19 resources:");
    for (char const* name : {"  DeviceNotification\n", "  SystemEventLogBackup\n", "  Setup\n",
                             "  TolmaRestorePowerManagementSettings\n"})
        EXPECT_NE(run.out.find(name), std::string::npos) << name;
    EXPECT_EQ(run.out.find("not exported"), std::string::npos);
}

} // namespace
