// Test main of the screen tests: the host's exports directory, set before the logger first starts.
#include "sim/sim_testing.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Links to the stand-ins; an executable built against variants of the screen- and
// system-information libraries finds the same variants under the run-time names.
class ExportsEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        std::vector<std::pair<std::string, std::string>> replaced;
#ifdef TOLMA_SCRINFO2_VARIANT
        replaced.emplace_back("libscrinfo2_x64.so", TOLMA_SCRINFO2_VARIANT);
#endif
#ifdef TOLMA_ORMIC_VARIANT
        replaced.emplace_back("libormic_x64.so", TOLMA_ORMIC_VARIANT);
#endif
        directory_ = std::make_unique<sim::ExportsDirectory>(std::vector<std::string>{}, replaced);
        ASSERT_FALSE(directory_->path().empty());
        SimHostSetExportsPath(directory_->path().c_str());
    }
    void TearDown() override {
        SimHostUseEnvironmentExportsPath();
        directory_.reset();
    }

private:
    std::unique_ptr<sim::ExportsDirectory> directory_;
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new ExportsEnvironment);
    return RUN_ALL_TESTS();
}
