// libtolma.so.2 loaded like a host loads it: its symbol table, and every resource answering.
#include "elf_dynamic.h"
#include "plugin_test.h"
#include "sim/host/plugin.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using test::PluginTest;

// Every name the plug-in exports: its resources and the other functions a host calls.
std::set<std::string> exportedNames() {
    std::set<std::string> names(sim::host::resourceNames().begin(),
                                sim::host::resourceNames().end());
    names.insert(sim::host::extraFunctionNames().begin(), sim::host::extraFunctionNames().end());
    return names;
}

// Every resource with the methods it serves once implemented; the others must answer 405.
TEST_F(PluginTest, EveryUnservedMethodAnswers405) {
    struct Method {
        char letter;
        char const* name;
        char const* upper;
    } const methods[] = {
        {'G', "get", "GET"}, {'U', "put", "PUT"}, {'P', "post", "POST"}, {'D', "delete", "DELETE"}};
    int checked = 0;
    for (sim::host::ResourceRow const& row : sim::host::resources()) {
        ASSERT_NE(plugin().resource(row.name), nullptr) << row.name;
        for (auto const& m : methods) {
            if (std::string(row.methods).find(m.letter) != std::string::npos)
                continue;
            EXPECT_EQ(call(row.name, m.name, "{}", "{}", ""), test::methodNotAllowed(m.upper, ""))
                << row.name << " " << m.upper;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 44);
}

TEST_F(PluginTest, PromiseIdsAreTheHostsAndEachIsSettledOnce) {
    sim::host::ResourceFunction function = plugin().resource("SystemLoginItem");
    ASSERT_NE(function, nullptr);
    SimPageBridgeReset();
    int const first = function(R"({"method":"get"})", "", "", "");
    int const second = function("garbage", nullptr, nullptr, nullptr);
    std::vector<sim::Response> responses = sim::host::responses();
    ASSERT_EQ(responses.size(), 2u);
    EXPECT_NE(first, second);
    EXPECT_EQ(responses[0].promiseId, first);
    EXPECT_EQ(responses[1].promiseId, second);
}

TEST_F(PluginTest, PowerSettingsRecordRoundTrips) {
    using Disable = void* (*)();
    using Restore = void (*)(void*);
    auto disable = plugin().function<Disable>("TolmaDisablePowerManagementSettings");
    auto restore = plugin().function<Restore>("TolmaRestorePowerManagementSettings");
    auto reset = plugin().function<void (*)()>("TolmaResetSystemIdleTimer");
    ASSERT_TRUE(disable && restore && reset);
    void* backup = disable();
    EXPECT_NE(backup, nullptr);
    restore(backup);
    restore(nullptr);
    reset();
}

TEST(PluginSymbols, ExportsExactlyTheHostFacingFunctions) {
    test::ElfDynamic const elf = test::readElfDynamic(test::pluginPath());
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.defined, exportedNames());
    EXPECT_EQ(elf.soname, "libtolma.so.2");
}

TEST(PluginSymbols, NeedsOnlyTheHostLibrariesAndTheRuntime) {
    test::ElfDynamic const elf = test::readElfDynamic(test::pluginPath());
    ASSERT_TRUE(elf.ok) << elf.error;
    std::set<std::string> const allowed = {
        "libpagebridge.so.2",   "libhostplug_x64.so.1",
        "libscrinfo2_x64.so.2", "libormic_x64.so.1",
        "libvqc_x64.so.1",      "libmeterlink_x64.so.2",
        "libstdc++.so.6",       "libm.so.6",
        "libgcc_s.so.1",        "libc.so.6",
        "ld-linux-x86-64.so.2",
    };
    EXPECT_FALSE(elf.needed.empty());
    for (std::string const& library : elf.needed) {
        bool const sanitizerRuntime = library.rfind("libasan", 0) == 0 ||
                                      library.rfind("libubsan", 0) == 0 ||
                                      library.rfind("libtsan", 0) == 0;
        EXPECT_TRUE(allowed.count(library) || sanitizerRuntime) << library;
    }
    // Each of the six linked libraries of the host and the maker is asked for by soname.
    for (char const* linked : {"libpagebridge.so.2", "libhostplug_x64.so.1", "libscrinfo2_x64.so.2",
                               "libormic_x64.so.1", "libvqc_x64.so.1", "libmeterlink_x64.so.2"})
        EXPECT_NE(std::find(elf.needed.begin(), elf.needed.end(), linked), elf.needed.end())
            << linked;
}

} // namespace
