// System answers when the system-information library lacks the window snapshot's creator and a
// window getter, but has every other function.
#include "plugin_test.h"
#include "sim/sim_control.h"
#include "system_worlds.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace systemtest;
using namespace test;

// This executable links the variant without OrmCreateCurrentApplicationWindowSnapshot and
// OrmGetApplicationWindowClassName, and its exports directory holds it under the run-time name.
ReplacedInExports const kOrmicVariant("libormic_x64.so", TOLMA_ORMIC_VARIANT);

class LackingWindowFunctions : public SystemTest {};

TEST_F(LackingWindowFunctions, OnlyTheWindowListFailsAndEveryOtherAnswerIsWhole) {
    for (ListRow const& row : listRows()) {
        SCOPED_TRACE(row.resource);
        Answer const expected = std::string(row.resource) == "SystemApplicationWindows"
                                    ? failure("GET", row.path, 404, "FunctionNotFoundError",
                                              "ormic does not have a requested function.")
                                    : ok("GET", row.path, row.full);
        EXPECT_EQ(call(row.resource, "get", "{}"), expected);
        EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0u);
    }
    EXPECT_EQ(call("SystemProcesses", "get", R"({"process":"init"})"),
              ok("GET", "System/Processes/init", R"({"isRunning":true})"));
    EXPECT_EQ(call("SystemInformation", "get", "{}", "{}"),
              ok("GET", "System/Information", informationOf(fullSections(), kAllSections)));
}

} // namespace
