// The inventory resources through libtolma.so.2: the six lists, the process query and the
// preferred language, with failing library calls and every snapshot released.
#include "plugin_test.h"
#include "sim/sim_control.h"
#include "system_worlds.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace systemtest;
using namespace test;

class Inventory : public SystemTest {};

class ProcessQuery : public Inventory {};
class PreferredLanguage : public Inventory {};

// The snapshot functions of each list resource, in the order of listRows().
struct SnapshotFunctions {
    char const* create;
    char const* enumerate;
    char const* firstGetter;      // reads the first member of an entry
    std::string firstEntryFailed; // the answer when that getter fails once
};

std::vector<SnapshotFunctions> const& snapshotFunctions() {
    static std::vector<SnapshotFunctions> const rows = {
        {"OrmCreateRunningProcessSnapshot", "OrmEnumRunningProcess", "OrmGetProcessPID",
         R"([{"command":"/sbin/init","name":"init","pid":0},)"
         R"({"command":"/usr/bin/Xorg :0","name":"Xorg","pid":2147483647}])"},
        {"OrmCreateUSBDeviceSnapshot", "OrmEnumUSBDevice", "OrmGetUSBDeviceVendorID",
         R"([{"bcdDevice":1301,"name":"Hub","productId":2,"vendorId":0},)"
         R"({"bcdDevice":0,"name":"Keyboard","productId":65535,"vendorId":65535}])"},
        {"OrmCreateInstalledApplicationSnapshot", "OrmEnumInstalledApplication",
         "OrmGetApplicationName", R"([{"name":""},{"name":"Viewer"}])"},
        {"OrmCreateCurrentApplicationWindowSnapshot", "OrmEnumApplicationWindow",
         "OrmIsActiveApplicationWindow",
         R"([{"active":false,"className":"Editor","localizedName":"Editor",)"
         R"("processName":"editor","title":"Doc — Editor"},)"
         R"({"active":false,"className":"V","localizedName":"","processName":"viewer",)"
         R"("title":""}])"},
        {"OrmCreateLoadedKEXTSnapshot", "OrmEnumLoadedKEXT", "OrmGetKEXTVersion",
         R"([{"name":"i915","version":""},{"name":"snd","version":""}])"},
        {"OrmCreatePrinterSnapshot", "OrmEnumPrinter", "OrmGetPrinterName",
         R"([{"driverName":"cups","driverVersion":"2.4","isDefault":false,"name":""},)"
         R"({"driverName":"gutenprint","driverVersion":"5.3","isDefault":true,"name":"P2"}])"},
    };
    return rows;
}

TEST_F(Inventory, EachListAnswersItsEntriesInSnapshotOrder) {
    for (ListRow const& row : listRows()) {
        SCOPED_TRACE(row.resource);
        EXPECT_EQ(call(row.resource, "get", "{}"), ok("GET", row.path, row.full));
        EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0u);
    }
}

TEST_F(Inventory, EmptySnapshotsAnswerEmptyArrays) {
    ASSERT_EQ(SimWorldLoad(kEmptyWorld.c_str()), nullptr);
    for (ListRow const& row : listRows()) {
        SCOPED_TRACE(row.resource);
        EXPECT_EQ(call(row.resource, "get", "{}"), ok("GET", row.path, "[]"));
        EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0u);
    }
}

TEST_F(Inventory, ASnapshotThatCannotBeCreatedOrWalkedAnswersAnEmptyArray) {
    ASSERT_EQ(listRows().size(), snapshotFunctions().size());
    for (std::size_t i = 0; i < listRows().size(); ++i) {
        ListRow const& row = listRows()[i];
        SnapshotFunctions const& functions = snapshotFunctions()[i];
        for (char const* failing : {functions.create, functions.enumerate}) {
            SCOPED_TRACE(failing);
            SimWorldFailCalls(failing, 1);
            EXPECT_EQ(call(row.resource, "get", "{}"), ok("GET", row.path, "[]"));
            EXPECT_EQ(SimWorldPendingFailures(failing), 0) << "the call was not made";
            EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0u);
            EXPECT_EQ(call(row.resource, "get", "{}"), ok("GET", row.path, row.full));
        }
    }
}

TEST_F(Inventory, AFailingGetterAnswersItsUnknownValueForThatEntryOnly) {
    for (std::size_t i = 0; i < listRows().size(); ++i) {
        ListRow const& row = listRows()[i];
        SnapshotFunctions const& functions = snapshotFunctions()[i];
        SCOPED_TRACE(functions.firstGetter);
        SimWorldFailCalls(functions.firstGetter, 1);
        EXPECT_EQ(call(row.resource, "get", "{}"), ok("GET", row.path, functions.firstEntryFailed));
        EXPECT_EQ(SimWorldPendingFailures(functions.firstGetter), 0);
    }
}

TEST_F(Inventory, ASnapshotHoldsTheWorldAsItWasWhenTheRequestCame) {
    // Each request takes its own snapshot: a change shows in the next answer.
    EXPECT_EQ(call("SystemApplications", "get", "{}"),
              ok("GET", "System/Applications", R"([{"name":"Editor"},{"name":"Viewer"}])"));
    ASSERT_EQ(SimWorldPatch(R"({"system":{"applications":[{"name":"Shell"}]}})"), nullptr);
    EXPECT_EQ(call("SystemApplications", "get", "{}"),
              ok("GET", "System/Applications", R"([{"name":"Shell"}])"));
}

TEST_F(Inventory, OtherMethodsAreNotServed) {
    for (ListRow const& row : listRows()) {
        for (char const* method : {"put", "post", "delete"}) {
            SCOPED_TRACE(std::string(row.resource) + " " + method);
            std::string upper = method;
            for (char& c : upper)
                c = static_cast<char>(c - 'a' + 'A');
            EXPECT_EQ(call(row.resource, method, "{}"), methodNotAllowed(upper, ""));
        }
    }
}

TEST_F(ProcessQuery, ANonEmptyProcessAsksWhetherItRunsAndAnythingElseLists) {
    std::string const list = listRows()[0].full;
    struct Row {
        char const* parameters;
        char const* query;
        Answer answer;
    };
    std::vector<Row> const rows = {
        {R"({"process":"Xorg"})", "{}",
         ok("GET", "System/Processes/Xorg", R"({"isRunning":true})")},
        {R"({"process":"init"})", "{}",
         ok("GET", "System/Processes/init", R"({"isRunning":true})")},
        {R"({"process":"xorg"})", "{}",
         ok("GET", "System/Processes/xorg", R"({"isRunning":false})")},
        {R"({"process":"Xorg "})", "{}",
         ok("GET", "System/Processes/Xorg ", R"({"isRunning":false})")},
        {R"({"process":"Grün"})", "{}",
         ok("GET", "System/Processes/Grün", R"({"isRunning":false})")},
        // Read as text: a number names the process "42".
        {R"({"process":42})", "{}", ok("GET", "System/Processes/42", R"({"isRunning":false})")},
        {R"({"process":"a\nb\tc"})", "{}",
         ok("GET", "System/Processes/a%0Ab%09c", R"({"isRunning":false})")},
        {R"({"process":""})", "{}", ok("GET", "System/Processes", list)},
        {R"({"process":null})", "{}", ok("GET", "System/Processes", list)},
        {R"({"process":{}})", "{}", ok("GET", "System/Processes", list)},
        {"{}", "{}", ok("GET", "System/Processes", list)},
        // The name is a selector: in the options it selects nothing.
        {"{}", R"({"process":"Xorg"})", ok("GET", "System/Processes", list)},
        {R"({"process":"bad\u0000name"})", "{}",
         badRequest("GET", "System/Processes/bad%00name",
                    "process must not contain a NUL character.")},
        {"{\"process\":\"bad\xff\"}", "{}",
         badRequest("GET", "System/Processes/bad\xff", "process is not valid UTF-8.")},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.parameters);
        EXPECT_EQ(call("SystemProcesses", "get", row.parameters, row.query), row.answer);
    }
}

TEST_F(ProcessQuery, TakesNoSnapshotAndAFailingCallAnswersNotRunning) {
    SimWorldFailCalls("OrmCreateRunningProcessSnapshot", SIM_WORLD_FAIL_ALWAYS);
    SimWorldFailCalls("OrmIsProcessRunning", 1);
    EXPECT_EQ(call("SystemProcesses", "get", R"({"process":"Xorg"})"),
              ok("GET", "System/Processes/Xorg", R"({"isRunning":false})"));
    EXPECT_EQ(call("SystemProcesses", "get", R"({"process":"Xorg"})"),
              ok("GET", "System/Processes/Xorg", R"({"isRunning":true})"));
    EXPECT_EQ(SimWorldPendingFailures("OrmCreateRunningProcessSnapshot"), SIM_WORLD_FAIL_ALWAYS);
}

TEST_F(PreferredLanguage, UserOrderFirstThenResourceOrderMatchingAtTheStart) {
    // The world's user languages: "ja-JP", then "en".
    struct Row {
        char const* query;
        char const* answer;
    };
    std::vector<Row> const rows = {
        {R"({"resources":"en,ja","fallback":"fr"})", R"("ja")"},
        {R"({"resources":"ja,en","fallback":"fr"})", R"("ja")"},
        {R"({"resources":"en","fallback":"fr"})", R"("en")"},
        {R"({"resources":"en-US,fr","fallback":"de"})", R"("en-US")"},
        {R"({"resources":"ja-JP,ja","fallback":"de"})", R"("ja-JP")"},
        {R"({"resources":"ja_JP","fallback":"de"})", R"("ja_JP")"},
        {R"({"resources":"JA-jp","fallback":"de"})", R"("JA-jp")"},
        {R"({"resources":" fr , en ","fallback":"de"})", R"("en")"},
        {R"({"resources":",,en,","fallback":"de"})", R"("en")"},
        // No resource serves a user language: the fallback, as the page sent it.
        {R"({"resources":"de,fr","fallback":"en-GB"})", R"("en-GB")"},
        {R"({"resources":"j,e,jap,eng","fallback":"x"})", R"("x")"},
        {R"({"resources":"","fallback":"x"})", R"("x")"},
        {R"({"fallback":"x"})", R"("x")"},
        {R"({"resources":"fr"})", R"("")"},
        {"{}", R"("")"},
        {R"({"resources":"fr","fallback":7})", R"("7")"},
        {"null", R"("")"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.query);
        EXPECT_EQ(call("SystemPreferredLanguage", "get", "{}", row.query),
                  ok("GET", "System/PreferredLanguage", row.answer));
    }
}

TEST_F(PreferredLanguage, ReadsTheOptionsNotTheSelectors) {
    EXPECT_EQ(call("SystemPreferredLanguage", "get", R"({"resources":"en","fallback":"fr"})"),
              ok("GET", "System/PreferredLanguage", R"("")"));
}

TEST_F(PreferredLanguage, NoUserLanguageIsAnInternalError) {
    Answer const failed =
        internalError("GET", "System/PreferredLanguage", "Failed to get languages.");
    char const* const query = R"({"resources":"en","fallback":"fr"})";
    SimWorldFailCalls("OrmEnumLocaleLanguage", 1);
    EXPECT_EQ(call("SystemPreferredLanguage", "get", "{}", query), failed);
    EXPECT_EQ(call("SystemPreferredLanguage", "get", "{}", query),
              ok("GET", "System/PreferredLanguage", R"("en")"));
    ASSERT_EQ(SimWorldLoad(kEmptyWorld.c_str()), nullptr);
    EXPECT_EQ(call("SystemPreferredLanguage", "get", "{}", query), failed);
    EXPECT_EQ(call("SystemPreferredLanguage", "get", "{}", "{}"), failed);
}

} // namespace
