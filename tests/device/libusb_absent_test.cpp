// Without any libusb on the machine the development host's plug-in reports no hot-plug support and
// still answers: the installed libusb is hidden from a child host by a mount namespace.
#include "child_process.h"
#include "hidden_library.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct Row {
    std::vector<std::string> call;
    std::string answer;
};

TEST(LibusbAbsent, SupportIsFalseAndRequestsStillAnswer) {
    std::string const libusb = test::loadedLibraryFile("libusb-1.0.so.0");
    if (!test::loadedLibraryFile("libusb-1.0.so.1").empty())
        GTEST_SKIP() << "a libusb-1.0.so.1 is installed as well";
    if (!libusb.empty() && !test::canHideLibraries())
        GTEST_SKIP() << "this machine refuses a mount namespace for the test";
    std::vector<Row> const rows = {
        {{"call", "DeviceNotification", "--query", R"({"supports":1})"},
         "status 200\n{\"error\":null,\"value\":false}\n"},
        {{"call", "DeviceNotification", "--method", "put"},
         "\"supports\":false}}\n"},
        {{"call", "DeviceNotification", "--method", "delete"},
         "status 200\n{\"error\":null,\"value\":null}\n"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.call[1] + " " + (row.call.size() > 3 ? row.call[3] : ""));
        // The host leaves the library path alone, so only the system's libusb could be found.
        std::vector<std::string> command = test::hidingWrapper(libusb);
        command.insert(command.end(), {TOLMAHOST_PATH, "--libusb", "system", "--no-log"});
        command.insert(command.end(), row.call.begin(), row.call.end());
        test::ProcessInput input;
        input.program = command.front();
        input.arguments.assign(command.begin() + 1, command.end());
        test::ProcessRun const run = test::runProcess(input);
        EXPECT_EQ(run.exitStatus, 0) << run.err;
        EXPECT_NE(run.out.find(row.answer), std::string::npos) << run.out << run.err;
    }
}

} // namespace
