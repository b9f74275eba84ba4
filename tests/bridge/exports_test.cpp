// libtolma.so.2 loaded like a host loads it: its symbol table, and every resource answering.
#include "elf_dynamic.h"
#include "host_record.h"
#include "plugin_library.h"
#include "plugin/resources.h"

#include <algorithm>
#include <dlfcn.h>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using test::ResourceFunction;

// Every resource with the methods it serves once implemented; the others must answer 405.
struct ResourceRow {
    char const* name;
    char const* served; // letters of G, U (put), P (post), D
};

#define TOLMA_RESOURCE_ROW(Name, Methods) {#Name, Methods},
std::vector<ResourceRow> const kResources = {TOLMA_RESOURCES(TOLMA_RESOURCE_ROW)};
#undef TOLMA_RESOURCE_ROW

#define TOLMA_RESOURCE_NAME(Name, Methods) #Name,
#define TOLMA_FUNCTION_NAME(Name) #Name,
std::set<std::string> const kExports = {TOLMA_RESOURCES(TOLMA_RESOURCE_NAME)
                                            TOLMA_EXTRA_FUNCTIONS(TOLMA_FUNCTION_NAME)};
#undef TOLMA_RESOURCE_NAME
#undef TOLMA_FUNCTION_NAME

// The plug-in opened once for the whole suite, as a host opens it.
class PluginTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(plugin_.open(TOLMA_PLUGIN_PATH)) << plugin_.error();
        ASSERT_TRUE(plugin_.setup());
    }
    static void TearDownTestSuite() {
        plugin_.tearDown();
        plugin_.close();
    }
    static ResourceFunction resource(char const* name) { return plugin_.resource(name); }
    static inline test::PluginLibrary plugin_;
};

TEST_F(PluginTest, EveryUnservedMethodAnswers405) {
    struct Method {
        char letter;
        char const* options;
        char const* upper;
    } const methods[] = {{'G', R"({"method":"get"})", "GET"},
                         {'U', R"({"method":"put"})", "PUT"},
                         {'P', R"({"method":"post"})", "POST"},
                         {'D', R"({"method":"delete"})", "DELETE"}};
    int checked = 0;
    for (auto const& row : kResources) {
        ResourceFunction function = resource(row.name);
        ASSERT_NE(function, nullptr) << row.name;
        for (auto const& m : methods) {
            if (std::string(row.served).find(m.letter) != std::string::npos)
                continue;
            test::resetHost();
            test::resetLog();
            int const promise = function(m.options, "{}", "{}", "");
            std::vector<test::Response> responses = test::responses();
            ASSERT_EQ(responses.size(), 1u) << row.name << " " << m.upper;
            EXPECT_EQ(responses[0].promise, promise);
            EXPECT_EQ(responses[0].status, 405) << row.name << " " << m.upper;
            EXPECT_EQ(responses[0].text,
                      std::string(R"({"error":{"message":")") + m.upper +
                          R"( method is not allowed.","name":"MethodError"},"value":null})")
                << row.name;
            std::vector<test::LogLine> lines = test::logLines();
            ASSERT_EQ(lines.size(), 1u);
            EXPECT_EQ(lines[0].level, 3);
            EXPECT_EQ(lines[0].line, std::string("statusCode:405\tmethod:") + m.upper +
                                         "\turi:/tolma/\terr:MethodError\tmsg:" + m.upper +
                                         " method is not allowed.")
                << row.name;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 44);
}

TEST_F(PluginTest, PromiseIdsAreTheHostsAndEachIsSettledOnce) {
    ResourceFunction function = resource("SystemLoginItem");
    test::resetHost();
    int const first = function(R"({"method":"get"})", "", "", "");
    int const second = function("garbage", nullptr, nullptr, nullptr);
    std::vector<test::Response> responses = test::responses();
    ASSERT_EQ(responses.size(), 2u);
    EXPECT_NE(first, second);
    EXPECT_EQ(responses[0].promise, first);
    EXPECT_EQ(responses[1].promise, second);
}

TEST_F(PluginTest, PowerSettingsRecordRoundTrips) {
    using Disable = void* (*)();
    using Restore = void (*)(void*);
    auto disable = plugin_.function<Disable>("TolmaDisablePowerManagementSettings");
    auto restore = plugin_.function<Restore>("TolmaRestorePowerManagementSettings");
    auto reset = plugin_.function<void (*)()>("TolmaResetSystemIdleTimer");
    ASSERT_TRUE(disable && restore && reset);
    void* backup = disable();
    EXPECT_NE(backup, nullptr);
    restore(backup);
    restore(nullptr);
    reset();
}

TEST(PluginSymbols, ExportsExactlyTheHostFacingFunctions) {
    test::ElfDynamic const elf = test::readElfDynamic(TOLMA_PLUGIN_PATH);
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.defined, kExports);
    EXPECT_EQ(elf.soname, "libtolma.so.2");
}

TEST(PluginSymbols, NeedsOnlyTheHostLibrariesAndTheRuntime) {
    test::ElfDynamic const elf = test::readElfDynamic(TOLMA_PLUGIN_PATH);
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
}

} // namespace
