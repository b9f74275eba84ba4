// The system facts of the system tests' worlds, the answers the plug-in gives, and the fixture.
#pragma once

#include "plugin_test.h"
#include "sim/sim_control.h"

#include <map>
#include <string>
#include <vector>

namespace systemtest {

// Worlds without screens that deliver no RandR event when loaded.
inline std::string worldWithSystem(std::string const& system) {
    return R"({"display":{"randrEventBase":0},"system":)" + system + "}";
}

// Every fact set, with extremes of the integer widths, two addresses of one family and one of the
// other, two adapters and two entries in most snapshots.
inline std::string const kFullSystem =
    R"({"os":{"name":"Tolma OS 1 Grün","shortName":"TOS","kernelVersion":"6.1.0",)"
    R"("buildNumber":"12.5","architecture":"x86_64"},)"
    R"("locale":{"name":"ja_JP.UTF-8","languages":["ja-JP","en"],"decimalSeparator":".",)"
    R"("thousandSeparator":",","country":"JP"},)"
    R"("timeZone":{"name":"America/New_York","offset":-300},)"
    R"("cpu":{"name":"CPU X","architecture":"x86_64"},)"
    R"("memory":{"total":4294967295,"available":1024,"usage":0.25},)"
    R"("pc":{"name":"host-1","model":"M1","vendor":"V1","serialNumber":"S1"},)"
    R"("ipAddresses":{"ipv4":["10.0.0.1","192.168.0.2"],"ipv6":["fe80::1"]},)"
    R"("graphicsAdapters":[{"id":"a","name":"GPU A","vendor":"VA","driverName":"da",)"
    R"("driverVersion":"1.0","vram":8192,"deviceLocationId":16},)"
    R"({"id":"b","name":"GPU B","vendor":"VB","driverName":"db","driverVersion":"2.0",)"
    R"("vram":9223372036854775807,"deviceLocationId":4294967295}],)"
    R"("processes":[{"name":"init","pid":1,"command":"/sbin/init"},)"
    R"({"name":"Xorg","pid":2147483647,"command":"/usr/bin/Xorg :0"}],)"
    R"("usbDevices":[{"name":"Hub","vendorId":"0x1D6B","productId":2,"bcdDevice":"0x0515"},)"
    R"({"name":"Keyboard","vendorId":65535,"productId":"0xFFFF"}],)"
    R"("applications":[{"name":"Editor"},{"name":"Viewer"}],)"
    R"("windows":[{"title":"Doc — Editor","processName":"editor","localizedName":"Editor",)"
    R"("active":true,"className":"Editor"},{"processName":"viewer","className":"V"}],)"
    R"("kernelExtensions":[{"name":"i915","version":"1.6"},{"name":"snd"}],)"
    R"("printers":[{"name":"P1","driverName":"cups","driverVersion":"2.4"},)"
    R"({"name":"P2","driverName":"gutenprint","driverVersion":"5.3","isDefault":true}]})";

inline std::string const kFullWorld = worldWithSystem(kFullSystem);
// Every fact unknown, every list empty.
inline std::string const kEmptyWorld = worldWithSystem("{}");

// The sections of SystemInformation for kFullWorld, keyed by section.
inline std::map<std::string, std::string> const& fullSections() {
    static std::map<std::string, std::string> const sections = {
        {"os", R"({"architecture":"x86_64","buildNumber":"12.5","kernelVersion":"6.1.0",)"
               R"("name":"Tolma OS 1 Grün","shortName":"TOS"})"},
        {"locale", R"({"country":"JP","decimalSeparator":".","languages":["ja-JP","en"],)"
                   R"("name":"ja_JP.UTF-8","thousandSeparator":","})"},
        {"timeZone", R"({"name":"America/New_York","offset":-300})"},
        {"cpu", R"({"architecture":"x86_64","name":"CPU X"})"},
        {"memory", R"({"available":1024,"total":4294967295,"usage":0.25})"},
        {"pc", R"({"model":"M1","name":"host-1","serialNumber":"S1","vendor":"V1"})"},
        {"ipAddress", R"([{"address":"10.0.0.1","type":"IPv4"},)"
                      R"({"address":"192.168.0.2","type":"IPv4"},)"
                      R"({"address":"fe80::1","type":"IPv6"}])"},
        {"graphicsCards",
         R"([{"deviceLocationId":16,"driverName":"da","driverVersion":"1.0","name":"GPU A",)"
         R"("vendor":"VA","vram":8192},)"
         R"({"deviceLocationId":4294967295,"driverName":"db","driverVersion":"2.0",)"
         R"("name":"GPU B","vendor":"VB","vram":9223372036854775807}])"},
    };
    return sections;
}

// The sections of SystemInformation for kEmptyWorld: "" and 0 for facts, no entries, and the
// memory record as the library fills it.
inline std::map<std::string, std::string> const& emptySections() {
    static std::map<std::string, std::string> const sections = {
        {"os",
         R"({"architecture":"","buildNumber":"","kernelVersion":"","name":"","shortName":""})"},
        {"locale", R"({"country":"","decimalSeparator":"","languages":[],"name":"",)"
                   R"("thousandSeparator":""})"},
        {"timeZone", R"({"name":"","offset":0})"},
        {"cpu", R"({"architecture":"","name":""})"},
        {"memory", R"({"available":0,"total":0,"usage":0.0})"},
        {"pc", R"({"model":"","name":"","serialNumber":"","vendor":""})"},
        {"ipAddress", "[]"},
        {"graphicsCards", "[]"},
    };
    return sections;
}

// The answer object holding `keys` of `sections`, keys in byte order as the plug-in writes them.
inline std::string informationOf(std::map<std::string, std::string> const& sections,
                                 std::vector<std::string> const& keys) {
    std::map<std::string, std::string> chosen;
    for (std::string const& key : keys)
        chosen[key] = sections.at(key);
    std::string text = "{";
    for (auto const& [key, value] : chosen)
        text += (text.size() > 1 ? "," : "") + ("\"" + key + "\":") + value;
    return text + "}";
}

inline std::vector<std::string> const kAllSections = {
    "os", "locale", "timeZone", "cpu", "memory", "pc", "ipAddress", "graphicsCards"};

// The list resources: the exported name, the path in the log and the answer for kFullWorld.
struct ListRow {
    char const* resource;
    char const* path;
    std::string full;
};

inline std::vector<ListRow> const& listRows() {
    static std::vector<ListRow> const rows = {
        {"SystemProcesses", "System/Processes",
         R"([{"command":"/sbin/init","name":"init","pid":1},)"
         R"({"command":"/usr/bin/Xorg :0","name":"Xorg","pid":2147483647}])"},
        {"SystemUSBDevices", "System/USBDevices",
         R"([{"bcdDevice":1301,"name":"Hub","productId":2,"vendorId":7531},)"
         R"({"bcdDevice":0,"name":"Keyboard","productId":65535,"vendorId":65535}])"},
        {"SystemApplications", "System/Applications", R"([{"name":"Editor"},{"name":"Viewer"}])"},
        {"SystemApplicationWindows", "System/ApplicationWindows",
         R"([{"active":true,"className":"Editor","localizedName":"Editor",)"
         R"("processName":"editor","title":"Doc — Editor"},)"
         R"({"active":false,"className":"V","localizedName":"","processName":"viewer",)"
         R"("title":""}])"},
        {"SystemKEXT", "System/KEXT",
         R"([{"name":"i915","version":"1.6"},{"name":"snd","version":""}])"},
        {"SystemPrinters", "System/Printers",
         R"([{"driverName":"cups","driverVersion":"2.4","isDefault":false,"name":"P1"},)"
         R"({"driverName":"gutenprint","driverVersion":"5.3","isDefault":true,"name":"P2"}])"},
    };
    return rows;
}

// The plug-in over the full world, with no library call set to fail; after each test no snapshot
// is left open and the system-information library saw no bad call.
class SystemTest : public test::PluginTest {
protected:
    void SetUp() override {
        SimWorldClearFailures();
        SimOrmicResetCounts();
        ASSERT_EQ(SimWorldLoad(kFullWorld.c_str()), nullptr);
    }
    void TearDown() override {
        SimWorldClearFailures();
        EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0u);
        EXPECT_EQ(SimOrmicViolationCount(), 0u);
    }
};

} // namespace systemtest
