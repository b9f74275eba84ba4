// main() of the programs that play the host: their exports directory, set before any test runs.
#include "plugin_test.h"
#include "sim/host/desktop_sandbox.h"
#include "sim/host/exports_directory.h"

#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace test {

namespace {

// Filled by the program's ReplacedInExports and AbsentFromExports before main() runs.
std::vector<sim::host::Replacement>& replaced() {
    static std::vector<sim::host::Replacement> files;
    return files;
}
std::vector<std::string>& absent() {
    static std::vector<std::string> names;
    return names;
}

// The build's stand-ins (a composed folder when the program replaces or leaves out files), as
// Plg_GetRegistryExportsPath answers from before the first test on: the logger reads it once,
// when it first starts.
class ExportsEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        try {
            directory_ = std::make_unique<sim::host::ExportsDirectory>(
                sim::host::standInDirectory(), absent(), replaced());
        } catch (sim::host::ExportsError const& error) {
            FAIL() << error.what();
        }
        scope_ = std::make_unique<sim::host::ExportsPathScope>(directory_->path());
        // The power settings and login items that tests request never reach this machine's.
        sandbox_ = std::make_unique<sim::host::DesktopSandbox>();
    }
    void TearDown() override {
        sandbox_.reset();
        scope_.reset();
        directory_.reset();
    }

private:
    std::unique_ptr<sim::host::DesktopSandbox> sandbox_;
    std::unique_ptr<sim::host::ExportsDirectory> directory_;
    std::unique_ptr<sim::host::ExportsPathScope> scope_;
};

} // namespace

ReplacedInExports::ReplacedInExports(std::string name, std::string file) {
    replaced().push_back(sim::host::Replacement{std::move(name), std::move(file)});
}

AbsentFromExports::AbsentFromExports(std::string name) {
    absent().push_back(std::move(name));
}

} // namespace test

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new test::ExportsEnvironment);
    return RUN_ALL_TESTS();
}
