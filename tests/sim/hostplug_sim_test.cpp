// The host-support stand-in: where the exports directory comes from, and how long answers live.
#include "platform/hostplug.h"
#include "sim/host/exports_directory.h"
#include "sim/sim_control.h"

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

class ExportsPath : public ::testing::Test {
protected:
    void SetUp() override {
        unsetenv(SIM_EXPORTS_DIR_VARIABLE);
        SimHostUseEnvironmentExportsPath();
    }
    void TearDown() override {
        unsetenv(SIM_EXPORTS_DIR_VARIABLE);
        SimHostUseEnvironmentExportsPath();
    }
};

TEST_F(ExportsPath, ComesFromTheEnvironmentVariable) {
    EXPECT_STREQ(SIM_EXPORTS_DIR_VARIABLE, "TOLMA_SIM_EXPORTS_DIR");
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/opt/host/exports/", 1);
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/opt/host/exports/");
}

TEST_F(ExportsPath, IsEmptyWhenTheVariableIsUnset) {
    char const* path = Plg_GetRegistryExportsPath();
    ASSERT_NE(path, nullptr);
    EXPECT_STREQ(path, "");
}

TEST_F(ExportsPath, FollowsTheVariableAtEveryCall) {
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/one", 1);
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/one");
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/two", 1);
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/two");
}

TEST_F(ExportsPath, SettingOverridesTheEnvironment) {
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/from/environment", 1);
    std::string path = "/from/setting";
    SimHostSetExportsPath(path.c_str());
    path = "/changed/by/caller";
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/from/setting");
}

TEST_F(ExportsPath, SettingNullOrEmptyMeansUnknownAsEmptyText) {
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/from/environment", 1);
    SimHostSetExportsPath(nullptr);
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "");
    SimHostSetExportsPath("/somewhere");
    SimHostSetExportsPath("");
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "");
}

TEST_F(ExportsPath, CanAnswerNullForTheOtherFormOfUnknown) {
    SimHostSetExportsPathNull();
    EXPECT_EQ(Plg_GetRegistryExportsPath(), nullptr);
    SimHostSetExportsPath("/back");
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/back");
}

TEST_F(ExportsPath, ReturnsToTheEnvironmentOnRequest) {
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/from/environment", 1);
    SimHostSetExportsPath("/from/setting");
    SimHostUseEnvironmentExportsPath();
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/from/environment");
}

TEST_F(ExportsPath, ScopeHelperSetsAndThenRestoresTheEnvironmentSource) {
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/from/environment", 1);
    {
        sim::host::ExportsPathScope scope(sim::host::standInDirectory());
        EXPECT_EQ(std::string(Plg_GetRegistryExportsPath()), sim::host::standInDirectory());
    }
    EXPECT_STREQ(Plg_GetRegistryExportsPath(), "/from/environment");
}

// [P]: an answer stays readable after later settings and variable changes (AddressSanitizer
// would report a freed string).
TEST_F(ExportsPath, EveryAnswerStaysValidForTheProcess) {
    SimHostSetExportsPath("/first/setting");
    char const* fromSetting = Plg_GetRegistryExportsPath();
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/first/environment", 1);
    SimHostUseEnvironmentExportsPath();
    char const* fromEnvironment = Plg_GetRegistryExportsPath();

    SimHostSetExportsPath("/second/setting");
    Plg_GetRegistryExportsPath();
    setenv(SIM_EXPORTS_DIR_VARIABLE, "/second/environment", 1);
    unsetenv(SIM_EXPORTS_DIR_VARIABLE);
    SimHostUseEnvironmentExportsPath();
    Plg_GetRegistryExportsPath();

    EXPECT_STREQ(fromSetting, "/first/setting");
    EXPECT_STREQ(fromEnvironment, "/first/environment");
}

TEST_F(ExportsPath, ReadersOnManyThreadsSeeOneOfTheSettings) {
    std::vector<std::thread> readers;
    std::vector<std::string> bad(4);
    for (std::size_t t = 0; t < 4; ++t) {
        readers.emplace_back([&bad, t] {
            for (int i = 0; i < 2000; ++i) {
                std::string const path = Plg_GetRegistryExportsPath();
                if (path != "/a" && path != "/b" && path != "")
                    bad[t] = path;
            }
        });
    }
    for (int i = 0; i < 2000; ++i)
        SimHostSetExportsPath(i % 2 == 0 ? "/a" : "/b");
    for (auto& reader : readers)
        reader.join();
    for (auto const& path : bad)
        EXPECT_EQ(path, "");
}

} // namespace
