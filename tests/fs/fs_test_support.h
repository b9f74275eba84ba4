// FsTest: a scratch directory under /tmp as working directory, HOME, TMPDIR and XDG_CONFIG_HOME.
#pragma once

#include <filesystem>
#include <fstream>
#include <optional>
#include <stdlib.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace fs_test {

// The environment variables the tests change and the working directory are restored afterwards.
class FsTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (char const* name :
             {"HOME", "TMPDIR", "XDG_CONFIG_HOME", "XDG_DESKTOP_DIR", "XDG_MUSIC_DIR",
              "XDG_DOWNLOAD_DIR", "XDG_HOME_DIR", "TZ", "TOLMA_FS_VAR"}) {
            char const* value = getenv(name);
            saved_.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
            unsetenv(name);
        }
        char pattern[] = "/tmp/tolma-fs-test-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root_ = pattern;
        std::filesystem::create_directories(home_ = root_ + "/home");
        std::filesystem::create_directories(config_ = root_ + "/config");
        setenv("HOME", home_.c_str(), 1);
        setenv("TMPDIR", root_.c_str(), 1);
        setenv("XDG_CONFIG_HOME", config_.c_str(), 1);
        previous_cwd_ = std::filesystem::current_path();
        std::filesystem::current_path(root_);
    }

    void TearDown() override {
        std::filesystem::current_path(previous_cwd_);
        for (auto const& [name, value] : saved_)
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
        std::filesystem::remove_all(root_);
    }

    static void writeFile(std::string const& path, std::string const& content) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    }

    static std::string readFile(std::string const& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    static bool exists(std::string const& path) {
        return std::filesystem::exists(std::filesystem::symlink_status(path));
    }

    std::string root_, home_, config_;

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
    std::filesystem::path previous_cwd_;
};

} // namespace fs_test
