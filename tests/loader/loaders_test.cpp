// Loaders: file names, retry while closed, optional and required lookups, default scope, release.
#include "bridge/bridge_result.h"
#include "loader/loaders.h"
#include "platform/pagebridge.h"
#include "sim/sim_control.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>

namespace kavri {
namespace {

namespace stdfs = std::filesystem;

using FixtureAnswer = std::int32_t (*)();

// One row per loader: how to reach it, its file name and its error message.
struct LoaderCase {
    char const* name;
    std::function<DynamicLibrary&()> loader;
    char const* fileName;
    char const* message;
};

std::vector<LoaderCase> const kLoaders = {
    {"ormic", []() -> DynamicLibrary& { return ormicLoader::loader(); }, "libormic_x64.so",
     "ormic does not have a requested function."},
    {"scrinfo2", []() -> DynamicLibrary& { return libscrinfo2Loader::loader(); },
     "libscrinfo2_x64.so", "libscrinfo2 does not have a requested function."},
    {"dispctl", []() -> DynamicLibrary& { return libdispctlLoader::loader(); }, "libdispctl_x64.so",
     "libdispctl does not have a requested function."},
    {"pelto", []() -> DynamicLibrary& { return PeltoLoader::loader(); }, "libpelto.so",
     "Pelto does not have a requested function."},
};

// Points the host's exports directory at a fresh temporary directory; every loader starts and
// ends closed.
class LoaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tolma-loader-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        SimHostSetExportsPath(dir_.c_str());
        closeAll();
    }
    void TearDown() override {
        closeAll();
        SimHostSetExportsPath("");
        stdfs::remove_all(dir_);
    }
    static void closeAll() {
        ormicLoader::loader().release();
        libscrinfo2Loader::loader().release();
        libdispctlLoader::loader().release();
        PeltoLoader::loader().release();
    }
    void install(std::string const& fileName) {
        stdfs::copy_file(TOLMA_LOADER_FIXTURE, dir_ + "/" + fileName,
                         stdfs::copy_options::overwrite_existing);
    }

    std::string dir_;
};

TEST_F(LoaderTest, EmptyDirectoryLeavesLoadersClosedAndEveryCallRetries) {
    for (auto const& c : kLoaders) {
        EXPECT_EQ(c.loader().handle(), nullptr) << c.name;
        EXPECT_TRUE(c.loader().path().empty()) << c.name;
        install(c.fileName);
        DynamicLibrary& opened = c.loader();
        EXPECT_NE(opened.handle(), nullptr) << c.name;
        EXPECT_EQ(opened.path().str(), dir_ + "/" + c.fileName) << c.name;
    }
}

TEST_F(LoaderTest, SensorLibraryFileNameHasNoArchitectureSuffix) {
    install("libpelto_x64.so");
    EXPECT_EQ(PeltoLoader::loader().handle(), nullptr);
    install("libpelto.so");
    EXPECT_NE(PeltoLoader::loader().handle(), nullptr);
}

TEST_F(LoaderTest, TrailingSlashOfTheExportsDirectoryIsDroppedOnce) {
    std::string const withSlash = dir_ + "/";
    SimHostSetExportsPath(withSlash.c_str());
    install("libormic_x64.so");
    EXPECT_EQ(ormicLoader::loader().path().str(), dir_ + "/libormic_x64.so");
}

TEST_F(LoaderTest, NoExportsDirectoryOpensNothing) {
    install("libormic_x64.so");
    SimHostSetExportsPath("");
    EXPECT_EQ(ormicLoader::loader().handle(), nullptr);
}

TEST_F(LoaderTest, OptionalLookupFindsPresentFunctionsAndYieldsNullForMissingOnes) {
    for (auto const& c : kLoaders) {
        install(c.fileName);
        DynamicLibrary& library = c.loader();
        FixtureAnswer answer = library.lookup<FixtureAnswer>("TolmaFixtureAnswer");
        ASSERT_NE(answer, nullptr) << c.name;
        EXPECT_EQ(answer(), 42);
        EXPECT_EQ(library.lookup<FixtureAnswer>("TolmaFixtureMissing"), nullptr) << c.name;
    }
}

TEST_F(LoaderTest, RequiredLookupOfMissingFunctionEndsWith404AndTheLoadersMessage) {
    for (auto const& c : kLoaders) {
        install(c.fileName);
        DynamicLibrary& library = c.loader();
        EXPECT_NE(library.require<FixtureAnswer>("TolmaFixtureAnswer"), nullptr);
        try {
            library.require<FixtureAnswer>("TolmaFixtureMissing");
            ADD_FAILURE() << c.name << " did not throw";
        } catch (BridgeResultError const& error) {
            EXPECT_EQ(error.statusCode, 404);
            EXPECT_EQ(error.error.name, "FunctionNotFoundError");
            EXPECT_EQ(error.error.message, c.message);
        }
    }
}

TEST_F(LoaderTest, ClosedLoaderSearchesTheProcessDefaultScope) {
    // The page-bridge library is linked into this process, so a closed loader still finds it.
    DynamicLibrary& closed = ormicLoader::loader();
    ASSERT_EQ(closed.handle(), nullptr);
    EXPECT_EQ(KAVRI_LOOKUP(closed, BridgeHelperCreatePromiseID), &BridgeHelperCreatePromiseID);
    EXPECT_EQ(closed.lookup<FixtureAnswer>("TolmaFixtureAnswer"), nullptr);
}

TEST_F(LoaderTest, ReleaseClosesAndTheNextCallOpensAgain) {
    install("libdispctl_x64.so");
    ASSERT_NE(libdispctlLoader::loader().handle(), nullptr);
    libdispctlLoader::loader().release();
    stdfs::remove(dir_ + "/libdispctl_x64.so");
    EXPECT_EQ(libdispctlLoader::loader().handle(), nullptr);
    install("libdispctl_x64.so");
    EXPECT_NE(libdispctlLoader::loader().handle(), nullptr);
}

TEST(DynamicLibraryBase, MissingFunctionErrorDoesNothing) {
    DynamicLibrary library;
    EXPECT_NO_THROW(library.throw_function_not_found_error());
    EXPECT_EQ(library.require<FixtureAnswer>("TolmaFixtureMissing"), nullptr);
    EXPECT_FALSE(library.open(fs::Path("/nonexistent/libnothing.so")));
    EXPECT_EQ(library.handle(), nullptr);
    EXPECT_TRUE(library.path().empty());
}

} // namespace
} // namespace kavri
