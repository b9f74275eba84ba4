// Bad input to the host: one line on standard error, a non-zero exit, never a crash.
#include "host_process.h"

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

struct BadInput {
    std::vector<std::string> arguments;
    int exitStatus;
    std::string error; // how standard error starts
};

void expectRefused(BadInput const& c) {
    HostInput input;
    input.arguments = c.arguments;
    auto const run = runHost(input);
    std::string const what = ::testing::PrintToString(c.arguments);
    EXPECT_EQ(run.signal, 0) << what;
    EXPECT_FALSE(run.timedOut) << what;
    EXPECT_EQ(run.exitStatus, c.exitStatus) << what;
    EXPECT_EQ(run.err.substr(0, c.error.size()), c.error) << what;
    EXPECT_EQ(linesOf(run.err).size(), 1u) << what;
}

TEST(BadInput, MalformedCommandLinesExitWithStatusTwoBeforeLoadingAnything) {
    BadInput const cases[] = {
        {{}, 2, "tolmahost: no command given (see --help)\n"},
        {{"frobnicate"}, 2, "tolmahost: unknown command 'frobnicate' (see --help)\n"},
        {{"--verbose", "demo"},
         2,
         "tolmahost: unknown option --verbose (host options go before the command; see "
         "--help)\n"},
        {{"--plugin"}, 2, "tolmahost: --plugin needs a value\n"},
        {{"--no-log=yes", "demo"}, 2, "tolmahost: --no-log takes no value\n"},
        {{"call"}, 2, "tolmahost: call: which resource? (see 'resources')\n"},
        {{"call", "Printers"},
         2,
         "tolmahost: call: unknown resource 'Printers' (see 'resources' for the list)\n"},
        {{"call", "Screens", "--params", "{\"index\":}"},
         2,
         "tolmahost: --params is not valid JSON ("},
        {{"call", "Screens", "--query", "nope"}, 2, "tolmahost: --query is not valid JSON ("},
        {{"call", "Screens", "--body"}, 2, "tolmahost: call: --body needs a value\n"},
        {{"call", "Screens", "--timeout", "3"}, 2, "tolmahost: call: unknown option --timeout\n"},
        {{"call", "Screens", "extra"}, 2, "tolmahost: call: unexpected word 'extra'\n"},
        {{"demo", "now"}, 2, "tolmahost: usage: tolmahost [HOST OPTIONS] demo\n"},
        {{"script"}, 2, "tolmahost: usage: tolmahost [HOST OPTIONS] script FILE|-\n"},
    };
    for (BadInput const& c : cases)
        expectRefused(c);
}

TEST(BadInput, MissingFilesExitWithStatusOne) {
    BadInput const cases[] = {
        {{"script", "/nonexistent/tour.txt"},
         1,
         "tolmahost: cannot read the script /nonexistent/tour.txt\n"},
        {{"--exports", "/nonexistent", "call", "Screens"},
         1,
         "tolmahost: exports directory '/nonexistent' is not a directory\n"},
        {{"--plugin", "/nonexistent/libtolma.so.2", "call", "Screens"},
         1,
         "tolmahost: cannot load the plug-in: /nonexistent/libtolma.so.2: cannot open shared "
         "object file: No such file or directory\n"},
    };
    for (BadInput const& c : cases)
        expectRefused(c);
}

TEST(BadInput, APlugInWithoutSetupIsRefused) {
    // The page-bridge stand-in is a shared object, but not a plug-in.
    std::string const notAPlugin = std::string(TOLMA_SIM_LIBRARY_DIR) + "/libpagebridge.so.2";
    expectRefused({{"--plugin", notAPlugin, "call", "Screens"},
                   1,
                   "tolmahost: " + notAPlugin + " does not export Setup and TearDown\n"});
}

TEST(BadInput, WorldFileIsRefusedWithOneLine) {
    char path[] = "/tmp/tolmahost-world-XXXXXX";
    int const fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    { std::ofstream(path) << "{\"screens\": [}"; }
    HostInput input;
    input.arguments = {"--world", path, "call", "Screens"};
    auto const run = runHost(input);
    std::remove(path);
    EXPECT_EQ(run.signal, 0);
    EXPECT_EQ(run.exitStatus, 1);
    ASSERT_EQ(linesOf(run.err).size(), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("tolmahost: ", 0), 0u) << run.err;
    EXPECT_EQ(run.out, "");
}

} // namespace
