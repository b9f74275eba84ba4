// The standard directories under a controlled HOME, TMPDIR and XDG_CONFIG_HOME.
#include "fs/directories.h"
#include "fs_test_support.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using FsDirectories = fs_test::FsTest;

TEST_F(FsDirectories, PerUserPlacesFollowHomeEvenWithXdgConfigHomeElsewhere) {
    setenv("HOME", (home_ + "/").c_str(), 1);
    setenv("XDG_CONFIG_HOME", "/elsewhere", 1);
    EXPECT_EQ(fs::home_directory().str(), home_);
    EXPECT_EQ(fs::user_color_profile_directory().str(), home_ + "/.local/share/icc");
    EXPECT_EQ(fs::user_startup_directory().str(), home_ + "/.config/autostart");
    EXPECT_EQ(fs::xdg_config_home().str(), "/elsewhere");
    setenv("XDG_CONFIG_HOME", "", 1);
    EXPECT_EQ(fs::xdg_config_home().str(), home_ + "/.config");
}

TEST_F(FsDirectories, TemporaryDirectoryFallsBackToTmp) {
    std::pair<char const*, char const*> const cases[] = {
        {"", "/tmp"}, {"/var/tmp/", "/var/tmp"}, {"/scratch", "/scratch"}};
    for (auto const& [tmpdir, expected] : cases) {
        setenv("TMPDIR", tmpdir, 1);
        EXPECT_EQ(fs::temporary_directory().str(), expected) << tmpdir;
    }
    unsetenv("TMPDIR");
    EXPECT_EQ(fs::temporary_directory().str(), "/tmp");
}

TEST_F(FsDirectories, HomeWithoutHomeVariableComesFromTheLoginName) {
    unsetenv("HOME");
    std::pair<fs::detail::LoginNameSource, char const*> const cases[] = {
        {+[] { return std::string("root"); }, "/root"},
        {+[] { return std::string(); }, "/root"},
        {+[] { return std::string("anna"); }, "/home/anna"}};
    for (auto const& [login, expected] : cases)
        EXPECT_EQ(fs::detail::home_directory(login).str(), expected);
}

TEST_F(FsDirectories, BundleDirectoryHoldsTheExecutable) {
    EXPECT_EQ(fs::bundle_directory() / "fs_tests", fs::executable_path());
}

TEST_F(FsDirectories, ResolveEnvExpandsTildeAndVariables) {
    setenv("TOLMA_FS_VAR", "v", 1);
    std::pair<char const*, std::string> const cases[] = {
        {"~/Desktop", home_ + "/Desktop"},   {"$HOME/Desktop", home_ + "/Desktop"},
        {"${HOME}D", home_ + "D"},           {"$TOLMA_FS_VAR/x$TOLMA_FS_VAR", "v/xv"},
        {"${TOLMA_FS_VAR}x", "vx"},          {"$TOLMA_FS_UNSET/x", "/x"},
        {"$TOLMA_FS_VAR\r", "v\r"},          {"x~$/${}", "x~$/${}"},
        {"${TOLMA_FS_VAR", "${TOLMA_FS_VAR"}};
    for (auto const& [text, expected] : cases)
        EXPECT_EQ(fs::detail::resolve_env(text), expected) << text;
}

TEST_F(FsDirectories, LoadXdgConfigTakesTheFirstUsableLine) {
    writeFile("dirs", "#XDG_DESKTOP_DIR=\"/commented\"\n"
                      "\rXDG_MUSIC_DIR=/after-carriage-return\n"
                      "XDG_NO_EQUALS\n"
                      "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n"
                      "XDG_DESKTOP_DIR=/second\n"
                      "\"XDG_HALF_DIR\"=\"/open-only\n"
                      "XDG_CRLF_DIR=\"/crlf\"\r\n"
                      "XDG_MUSIC_DIR=/music");
    std::pair<char const*, char const*> const cases[] = {{"XDG_DESKTOP_DIR", "$HOME/Schreibtisch"},
                                                         {"XDG_MUSIC_DIR", "/music"},
                                                         {"XDG_HALF_DIR", "/open-only"},
                                                         {"XDG_CRLF_DIR", "/crlf"},
                                                         {"XDG_NO_EQUALS", ""},
                                                         {"XDG_VIDEOS_DIR", ""}};
    for (auto const& [key, value] : cases)
        EXPECT_EQ(fs::detail::load_xdg_config("dirs", key), value) << key;
    EXPECT_EQ(fs::detail::load_xdg_config("missing", "XDG_DESKTOP_DIR"), "");
}

TEST_F(FsDirectories, XdgConfigPathTriesHomeVariableUserDirsThenDefaults) {
    writeFile(config_ + "/user-dirs.dirs", "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
    writeFile("defaults", "DESKTOP=Desktop\nDOWNLOAD=Downloads\nMUSIC=/srv/music\n");
    setenv("XDG_HOME_DIR", "/elsewhere", 1);
    EXPECT_EQ(fs::detail::xdg_config_path("HOME", "defaults").str(), home_);
    EXPECT_EQ(fs::detail::xdg_config_path("DESKTOP", "defaults").str(), home_ + "/Schreibtisch");
    EXPECT_EQ(fs::detail::xdg_config_path("DOWNLOAD", "defaults").str(), home_ + "/Downloads");
    EXPECT_EQ(fs::detail::xdg_config_path("MUSIC", "defaults").str(), "/srv/music");
    EXPECT_EQ(fs::detail::xdg_config_path("VIDEOS", "defaults").str(), "");
    EXPECT_EQ(fs::detail::xdg_config_path("DOWNLOAD", "missing").str(), "");
    setenv("XDG_DESKTOP_DIR", "/from/environment", 1);
    EXPECT_EQ(fs::detail::xdg_config_path("DESKTOP", "defaults").str(), "/from/environment");
    EXPECT_EQ(fs::desktop_directory().str(), "/from/environment");
}

TEST_F(FsDirectories, DesktopFallsBackToHomeDesktop) {
    writeFile("defaults", "DESKTOP=Bureau\n");
    EXPECT_EQ(fs::detail::desktop_directory("defaults").str(), home_ + "/Bureau");
    EXPECT_EQ(fs::detail::desktop_directory("missing").str(), home_ + "/Desktop");
}

} // namespace
