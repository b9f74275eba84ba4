// System answers when the system-information library lacks its run-time functions.
#include "plugin_test.h"
#include "sim/sim_control.h"
#include "system_worlds.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace systemtest;
using namespace test;

// This executable links the variant without OrmGetLocaleCountry, OrmGetVGADeviceLocationID,
// OrmIsActiveApplicationWindow, OrmIsProcessRunning, OrmGetUserName and OrmGetDomainName, and
// its exports directory holds it under the run-time name.
ReplacedInExports const kOrmicVariant("libormic_x64.so", TOLMA_ORMIC_VARIANT);

Answer functionNotFound(std::string const& path) {
    return failure("GET", path, 404, "FunctionNotFoundError",
                   "ormic does not have a requested function.");
}

std::string withoutMember(std::string text, std::string const& member) {
    std::string const key = "\"" + member + "\":";
    for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key)) {
        std::size_t end = text.find_first_of(",}", at);
        if (text[end] == ',')
            ++end;
        else if (text[at - 1] == ',')
            --at;
        text.erase(at, end - at);
    }
    return text;
}

class LackingFunctions : public SystemTest {};

TEST_F(LackingFunctions, InformationLeavesOutCountryAndDeviceLocationOnly) {
    std::map<std::string, std::string> sections = fullSections();
    sections["locale"] = withoutMember(sections["locale"], "country");
    sections["graphicsCards"] = withoutMember(sections["graphicsCards"], "deviceLocationId");
    ASSERT_EQ(sections["locale"].find("country"), std::string::npos);
    ASSERT_EQ(sections["graphicsCards"].find("deviceLocation"), std::string::npos);
    ASSERT_NE(sections["graphicsCards"].find("\"vram\":8192}"), std::string::npos);
    EXPECT_EQ(call("SystemInformation", "get", "{}", "{}"),
              ok("GET", "System/Information", informationOf(sections, kAllSections)));
}

TEST_F(LackingFunctions, RequiredFunctionsFailTheirRequestWithNotFound) {
    struct Row {
        char const* resource;
        char const* parameters;
        char const* path;
    };
    std::vector<Row> const rows = {
        {"SystemApplicationWindows", "{}", "System/ApplicationWindows"},
        {"SystemProcesses", R"({"process":"Xorg"})", "System/Processes/Xorg"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.resource);
        EXPECT_EQ(call(row.resource, "get", row.parameters), functionNotFound(row.path));
        // A missing getter is found before any snapshot is taken.
        EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0u);
    }
}

TEST_F(LackingFunctions, ListsOfLinkedFunctionsAreWhole) {
    for (ListRow const& row : listRows()) {
        if (std::string(row.resource) == "SystemApplicationWindows")
            continue;
        SCOPED_TRACE(row.resource);
        EXPECT_EQ(call(row.resource, "get", "{}"), ok("GET", row.path, row.full));
    }
}

// The user and domain names are optional: without them the login state has only the count.
TEST_F(LackingFunctions, LoginStateLeavesOutTheNamesTheLibraryCannotGive) {
    ASSERT_EQ(
        SimWorldLoad(worldWithSystem(R"({"userName":"alex","domainName":"example.org"})").c_str()),
        nullptr);
    for (char const* filter : {"currentUser", "domainName"}) {
        SCOPED_TRACE(filter);
        EXPECT_EQ(call("SystemLoginState", "get", "{}",
                       (std::string(R"({"filter":")") + filter + R"("})").c_str()),
                  ok("GET", "System/LoginState", "{}"));
    }
    Answer const all = call("SystemLoginState", "get", "{}");
    EXPECT_EQ(all.status, 200);
    EXPECT_NE(all.json.find("\"userCount\":"), std::string::npos) << all.json;
    EXPECT_EQ(all.json.find("currentUser"), std::string::npos) << all.json;
    EXPECT_EQ(all.json.find("domainName"), std::string::npos) << all.json;
}

} // namespace
