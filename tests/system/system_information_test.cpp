// SystemInformation through libtolma.so.2: every section, the section selection and failing calls.
#include "plugin_test.h"
#include "sim/sim_control.h"
#include "system_worlds.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace systemtest;
using namespace test;

class SystemInformationTest : public SystemTest {
protected:
    static Answer information(char const* query) {
        return call("SystemInformation", "get", "{}", query);
    }
    static Answer expected(std::map<std::string, std::string> const& sections,
                           std::vector<std::string> const& keys) {
        return ok("GET", "System/Information", informationOf(sections, keys));
    }
};

TEST_F(SystemInformationTest, OptionsOfSizeZeroAnswerEverySection) {
    for (char const* query : {"null", "{}", "[]", R"("")", "true", "false", "0", "17", "-2.5"}) {
        SCOPED_TRACE(query);
        EXPECT_EQ(information(query), expected(fullSections(), kAllSections));
    }
}

TEST_F(SystemInformationTest, AnObjectSelectsTheSectionsItHoldsWhateverTheirValues) {
    struct Row {
        char const* query;
        std::vector<std::string> sections;
    };
    std::vector<Row> const rows = {
        {R"({"cpu":null})", {"cpu"}},
        {R"({"os":false})", {"os"}},
        {R"({"locale":{}})", {"locale"}},
        {R"({"timeZone":0})", {"timeZone"}},
        {R"({"memory":"no"})", {"memory"}},
        {R"({"pc":[]})", {"pc"}},
        {R"({"ipAddress":1})", {"ipAddress"}},
        {R"({"graphicsCards":true})", {"graphicsCards"}},
        {R"({"cpu":1,"pc":false,"unknown":1})", {"cpu", "pc"}},
        {R"({"os":1,"locale":1,"timeZone":1,"cpu":1,"memory":1,"pc":1,"ipAddress":1,)"
         R"("graphicsCards":1})",
         kAllSections},
        // Keys are matched exactly.
        {R"({"unknown":1})", {}},
        {R"({"CPU":1,"ipAddresses":1,"graphicsCard":1,"timezone":1})", {}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.query);
        EXPECT_EQ(information(row.query), expected(fullSections(), row.sections));
    }
}

TEST_F(SystemInformationTest, NonEmptyDataThatIsNotAnObjectSelectsNothing) {
    for (char const* query : {R"(["cpu"])", "[1]", R"("cpu")", R"("os,cpu")", "[null]"}) {
        SCOPED_TRACE(query);
        EXPECT_EQ(information(query), ok("GET", "System/Information", "{}"));
    }
}

TEST_F(SystemInformationTest, SectionsComeFromTheQueryNotTheSelectorsOrTheBody) {
    EXPECT_EQ(call("SystemInformation", "get", R"({"cpu":1})", "{}", R"({"cpu":1})"),
              expected(fullSections(), kAllSections));
}

TEST_F(SystemInformationTest, UnknownFactsAreEmptyAndEmptyEnumerationsEmptyArrays) {
    ASSERT_EQ(SimWorldLoad(kEmptyWorld.c_str()), nullptr);
    EXPECT_EQ(information("{}"), expected(emptySections(), kAllSections));
}

TEST_F(SystemInformationTest, AddressesOfOneFamilyAloneAndIPv4BeforeIPv6) {
    struct Row {
        char const* what;
        char const* addresses;
        char const* answer;
    };
    std::vector<Row> const rows = {
        {"IPv4 only", R"({"ipv4":["10.1.1.1","10.1.1.2"]})",
         R"([{"address":"10.1.1.1","type":"IPv4"},{"address":"10.1.1.2","type":"IPv4"}])"},
        {"IPv6 only", R"({"ipv6":["::1"]})", R"([{"address":"::1","type":"IPv6"}])"},
        {"both, IPv6 listed first in the world", R"({"ipv6":["::1","fe80::2"],"ipv4":["1.2.3.4"]})",
         R"([{"address":"1.2.3.4","type":"IPv4"},{"address":"::1","type":"IPv6"},)"
         R"({"address":"fe80::2","type":"IPv6"}])"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        std::string const world =
            worldWithSystem(std::string(R"({"ipAddresses":)") + row.addresses + "}");
        ASSERT_EQ(SimWorldLoad(world.c_str()), nullptr);
        EXPECT_EQ(
            information(R"({"ipAddress":null})"),
            ok("GET", "System/Information", std::string(R"({"ipAddress":)") + row.answer + "}"));
    }
}

// One failing library call (the library's own way: "" for text, 0 for numbers, NULL for an
// entry, zero for the memory query) and the section it changes.
TEST_F(SystemInformationTest, FailingCallsChangeOnlyTheirOwnKey) {
    struct Row {
        char const* function;
        char const* section;
        std::string answer; // the section's value, or "" when the section is left out
    };
    std::vector<Row> const rows = {
        {"OrmGetMemoryInformation", "memory", ""},
        {"OrmGetOSName", "os",
         R"({"architecture":"x86_64","buildNumber":"12.5","kernelVersion":"6.1.0","name":"",)"
         R"("shortName":"TOS"})"},
        {"OrmGetOSArchitecture", "os",
         R"({"architecture":"","buildNumber":"12.5","kernelVersion":"6.1.0",)"
         R"("name":"Tolma OS 1 Grün","shortName":"TOS"})"},
        {"OrmEnumLocaleLanguage", "locale",
         R"({"country":"JP","decimalSeparator":".","languages":[],"name":"ja_JP.UTF-8",)"
         R"("thousandSeparator":","})"},
        {"OrmGetLocaleCountry", "locale",
         R"({"country":"","decimalSeparator":".","languages":["ja-JP","en"],)"
         R"("name":"ja_JP.UTF-8","thousandSeparator":","})"},
        {"OrmGetTimezoneOffset", "timeZone", R"({"name":"America/New_York","offset":0})"},
        {"OrmGetCPUName", "cpu", R"({"architecture":"x86_64","name":""})"},
        {"OrmGetPCSerialNumber", "pc",
         R"({"model":"M1","name":"host-1","serialNumber":"",)"
         R"("vendor":"V1"})"},
        // The IPv4 walk ends at its first answer; the IPv6 walk still runs.
        {"OrmEnumIPAddress", "ipAddress", R"([{"address":"fe80::1","type":"IPv6"}])"},
        {"OrmEnumVGA", "graphicsCards", "[]"},
        {"OrmGetVGADeviceLocationID", "graphicsCards",
         R"([{"deviceLocationId":0,"driverName":"da","driverVersion":"1.0","name":"GPU A",)"
         R"("vendor":"VA","vram":8192},)"
         R"({"deviceLocationId":4294967295,"driverName":"db","driverVersion":"2.0",)"
         R"("name":"GPU B","vendor":"VB","vram":9223372036854775807}])"},
        {"OrmGetVGAVRAMSize", "graphicsCards",
         R"([{"deviceLocationId":16,"driverName":"da","driverVersion":"1.0","name":"GPU A",)"
         R"("vendor":"VA","vram":0},)"
         R"({"deviceLocationId":4294967295,"driverName":"db","driverVersion":"2.0",)"
         R"("name":"GPU B","vendor":"VB","vram":9223372036854775807}])"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.function);
        std::map<std::string, std::string> sections = fullSections();
        std::vector<std::string> keys = kAllSections;
        if (row.answer.empty())
            keys.erase(std::find(keys.begin(), keys.end(), row.section));
        else
            sections[row.section] = row.answer;
        SimWorldFailCalls(row.function, 1);
        EXPECT_EQ(information("{}"), expected(sections, keys));
        EXPECT_EQ(SimWorldPendingFailures(row.function), 0) << "the call was not made";
        // The next request is whole again.
        EXPECT_EQ(information("{}"), expected(fullSections(), kAllSections));
    }
}

TEST_F(SystemInformationTest, UnselectedSectionsAreNotAskedFor) {
    SimWorldFailCalls("OrmGetMemoryInformation", 1);
    SimWorldFailCalls("OrmEnumVGA", 1);
    EXPECT_EQ(information(R"({"cpu":1})"), expected(fullSections(), {"cpu"}));
    EXPECT_EQ(SimWorldPendingFailures("OrmGetMemoryInformation"), 1);
    EXPECT_EQ(SimWorldPendingFailures("OrmEnumVGA"), 1);
}

TEST_F(SystemInformationTest, OtherMethodsAreNotServed) {
    for (char const* method : {"put", "post", "delete"}) {
        SCOPED_TRACE(method);
        std::string upper = method;
        for (char& c : upper)
            c = static_cast<char>(c - 'a' + 'A');
        EXPECT_EQ(call("SystemInformation", method, "{}"), methodNotAllowed(upper, ""));
    }
}

} // namespace
