// Test main for the bridge tests: an exports directory holding the logging library, set before
// the process-wide logger first starts.
#include "sim/sim_control.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

class ExportsDirectory : public ::testing::Environment {
public:
    void SetUp() override {
        char pattern[] = "/tmp/tolma-exports-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        std::filesystem::create_symlink(TOLMA_OSTRANA_PATH, dir_ + "/libostrana2_x64.so");
        SimHostSetExportsPath(dir_.c_str());
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

private:
    std::string dir_;
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new ExportsDirectory);
    return RUN_ALL_TESTS();
}
