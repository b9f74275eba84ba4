// SystemLoginItem through libtolma.so.2 on a scratch home: the entry written byte for byte and
// accepted by the desktop's validator, the forms of "enable", the refused names and values, and
// a directory that cannot take the entry.
#include "desktop_parts.h"
#include "plugin_test.h"
#include "system_worlds.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace systemtest;
using namespace test;
using desktop::EnvironmentScope;

std::string const kPath = "System/LoginItem";
std::string const kFullEntry = "#!/usr/bin/env xdg-open\n"
                               "[Desktop Entry]\n"
                               "Type=Application\n"
                               "Name=Tolma Agent\n"
                               "Exec=/usr/bin/tolma-agent --hidden\n"
                               "Icon=/usr/share/icons/tolma.png\n"
                               "Comment=Starts the Tolma agent\n"
                               "Terminal=false\n"
                               "X-GNOME-Autostart-enabled=true\n";
char const* const kFullBody = R"({"name":"Tolma Agent","iconPath":"/usr/share/icons/tolma.png",)"
                              R"("description":"Starts the Tolma agent","arguments":"--hidden",)"
                              R"("executablePath":"/usr/bin/tolma-agent","enable":true})";

// HOME in a scratch directory without .config; XDG_CONFIG_HOME elsewhere, which the autostart
// directory does not follow.
class LoginItem : public SystemTest {
protected:
    void SetUp() override {
        SystemTest::SetUp();
        ASSERT_FALSE(scratch_.path().empty());
        std::filesystem::create_directory(scratch_ / "home");
        home_.emplace("HOME", scratch_ / "home");
        config_.emplace("XDG_CONFIG_HOME", scratch_ / "config");
    }

    std::string autostart() const { return scratch_ / "home/.config/autostart"; }
    std::string entry(std::string const& name) const {
        return autostart() + "/" + name + ".desktop";
    }
    Answer put(std::string const& body) {
        return call("SystemLoginItem", "put", "{}", "{}", body.c_str());
    }
    // Every file below the scratch directory, by path.
    std::vector<std::string> files() const {
        std::vector<std::string> found;
        for (auto const& item : std::filesystem::recursive_directory_iterator(scratch_.path()))
            found.push_back(item.path().string());
        return found;
    }

    desktop::ScratchDirectory scratch_;
    std::optional<EnvironmentScope> home_;
    std::optional<EnvironmentScope> config_;
};

TEST_F(LoginItem, WritesTheEntryIntoTheAutostartDirectoryItCreates) {
    EXPECT_EQ(put(kFullBody), ok("PUT", kPath, "null"));
    EXPECT_EQ(desktop::readFile(entry("Tolma Agent")), kFullEntry);
    EXPECT_FALSE(std::filesystem::exists(scratch_ / "config"));
}

TEST_F(LoginItem, TheEntryPassesTheDesktopValidator) {
    if (!desktop::hasProgram("desktop-file-validate"))
        GTEST_SKIP() << "desktop-file-validate is not installed";
    ASSERT_EQ(put(kFullBody), ok("PUT", kPath, "null"));
    ASSERT_EQ(put(R"({"name":"bare","executablePath":"/bin/true","enable":true})"),
              ok("PUT", kPath, "null"));
    for (std::string const name : {"Tolma Agent", "bare"}) {
        ProcessRun const run = runProcess({"desktop-file-validate", {entry(name)}, "", {}});
        EXPECT_EQ(run.exitStatus, 0) << name << ": " << run.out << run.err;
    }
}

TEST_F(LoginItem, WithoutIconCommentOrArgumentsThoseLinesAndTheBlankAreLeftOut) {
    ASSERT_EQ(put(R"({"name":"t","executablePath":"/opt/t","enable":"true"})"),
              ok("PUT", kPath, "null"));
    EXPECT_EQ(desktop::readFile(entry("t")),
              "#!/usr/bin/env xdg-open\n[Desktop Entry]\nType=Application\nName=t\n"
              "Exec=/opt/t\nTerminal=false\nX-GNOME-Autostart-enabled=true\n");
}

TEST_F(LoginItem, WritingTheSameNameAgainReplacesTheWholeText) {
    ASSERT_EQ(put(kFullBody), ok("PUT", kPath, "null"));
    ASSERT_EQ(put(R"({"name":"Tolma Agent","enable":1})"), ok("PUT", kPath, "null"));
    EXPECT_EQ(desktop::readFile(entry("Tolma Agent")),
              "#!/usr/bin/env xdg-open\n[Desktop Entry]\nType=Application\nName=Tolma Agent\n"
              "Exec=\nTerminal=false\nX-GNOME-Autostart-enabled=true\n");
}

TEST_F(LoginItem, EnableIsTrueOnlyForTrueNonzeroNumbersAndTheTextTrue) {
    struct EnableCase {
        char const* member; // the "enable" member of the content, or "" for none
        bool writes;
    };
    EnableCase const cases[] = {
        {R"(,"enable":true)", true},   {R"(,"enable":"true")", true},
        {R"(,"enable":1)", true},      {R"(,"enable":-7)", true},
        {R"(,"enable":0.5)", true},    {R"(,"enable":false)", false},
        {R"(,"enable":0)", false},     {R"(,"enable":0.0)", false},
        {R"(,"enable":"yes")", false}, {R"(,"enable":"TRUE")", false},
        {R"(,"enable":"1")", false},   {R"(,"enable":" true")", false},
        {R"(,"enable":null)", false},  {R"(,"enable":[true])", false},
        {R"(,"enable":{})", false},    {"", false},
    };
    for (EnableCase const& c : cases) {
        SCOPED_TRACE(c.member);
        ASSERT_EQ(put(kFullBody), ok("PUT", kPath, "null"));
        EXPECT_EQ(
            put(std::string(R"({"name":"Tolma Agent","executablePath":"/x")") + c.member + "}"),
            ok("PUT", kPath, "null"));
        EXPECT_EQ(std::filesystem::exists(entry("Tolma Agent")), c.writes);
    }
}

TEST_F(LoginItem, RemovingAnEntryThatIsNotThereSucceeds) {
    EXPECT_EQ(put(R"({"name":"never written","enable":false})"), ok("PUT", kPath, "null"));
    EXPECT_EQ(files(), std::vector<std::string>{scratch_ / "home"});
}

TEST_F(LoginItem, ANameThatWouldLeaveTheDirectoryIsRefusedWhetherWritingOrRemoving) {
    struct Refusal {
        char const* name;
        char const* message;
    };
    Refusal const refusals[] = {
        {"", "name is empty."},
        {"../../escape", "name must not contain '/'."},
        {"sub/entry", "name must not contain '/'."},
        {"/", "name must not contain '/'."},
        {R"(a\u0000b)", "name must not contain a NUL character."},
    };
    // An entry the refused requests could otherwise reach.
    std::filesystem::create_directories(scratch_ / "home/.config");
    desktop::writeScript(scratch_ / "home/.config/escape.desktop", "keep");
    std::vector<std::string> const before = files();
    for (Refusal const& r : refusals) {
        for (char const* enable : {"true", "false"}) {
            SCOPED_TRACE(std::string(r.name) + " enable " + enable);
            EXPECT_EQ(put(std::string(R"({"name":")") + r.name +
                          R"(","executablePath":"/x","enable":)" + enable + "}"),
                      badRequest("PUT", kPath, r.message));
            EXPECT_EQ(files(), before);
        }
    }
    EXPECT_EQ(put(R"({"executablePath":"/x","enable":true})"),
              badRequest("PUT", kPath, "name is empty."));
}

TEST_F(LoginItem, AValueWithALineBreakOrNulIsRefusedWhenWriting) {
    struct Refusal {
        char const* key;
        char const* value;
        char const* message;
    };
    Refusal const refusals[] = {
        {"name", R"(a\nHidden=true)", "name must not contain a line break."},
        {"iconPath", R"(i\r)", "iconPath must not contain a line break."},
        {"description", R"(line\r\nExec=/evil)", "description must not contain a line break."},
        {"arguments", R"(--a\n)", "arguments must not contain a line break."},
        {"executablePath", R"(\n/x)", "executablePath must not contain a line break."},
        {"description", R"(a\u0000b)", "description must not contain a NUL character."},
        {"executablePath", R"(/x\u0000)", "executablePath must not contain a NUL character."},
    };
    for (Refusal const& r : refusals) {
        SCOPED_TRACE(std::string(r.key) + " " + r.value);
        std::map<std::string, std::string> members = {{"name", "item"}, {"executablePath", "/x"}};
        members[r.key] = r.value;
        std::string body = R"({"enable":true)";
        for (auto const& [key, value] : members)
            body += ",\"" + key + "\":\"" + value + "\"";
        body += "}";
        EXPECT_EQ(put(body), badRequest("PUT", kPath, r.message));
        EXPECT_EQ(files(), std::vector<std::string>{scratch_ / "home"});
    }
}

TEST_F(LoginItem, RemovingAcceptsValuesThatCouldNotBeWritten) {
    ASSERT_EQ(put(R"({"name":"a\tb","executablePath":"/x","enable":true})"),
              ok("PUT", kPath, "null"));
    EXPECT_EQ(put(R"({"name":"a\tb","description":"x\ny","enable":false})"),
              ok("PUT", kPath, "null"));
    EXPECT_FALSE(std::filesystem::exists(entry("a\tb")));
    EXPECT_EQ(put(R"({"name":"line\nbreak","enable":false})"), ok("PUT", kPath, "null"));
}

TEST_F(LoginItem, TabsAndOtherTextReachTheFileAsGiven) {
    ASSERT_EQ(put(R"({"name":"tabbed","executablePath":"/x","description":"a\tb %u \"q\"",)"
                  R"("arguments":"--n=\u00e9","enable":true})"),
              ok("PUT", kPath, "null"));
    EXPECT_EQ(desktop::readFile(entry("tabbed")),
              "#!/usr/bin/env xdg-open\n[Desktop Entry]\nType=Application\nName=tabbed\n"
              "Exec=/x --n=\xc3\xa9\nComment=a\tb %u \"q\"\nTerminal=false\n"
              "X-GNOME-Autostart-enabled=true\n");
}

TEST_F(LoginItem, AnAutostartDirectoryThatCannotHoldTheEntryIsAnInternalError) {
    // A regular file where the directory belongs: refused even to root.
    std::filesystem::create_directories(scratch_ / "home/.config");
    desktop::writeScript(autostart(), "not a directory");
    EXPECT_EQ(put(kFullBody), internalError("PUT", kPath, "Set login item."));
    EXPECT_EQ(desktop::readFile(autostart()), "not a directory");
    // Removing from it finds no entry.
    EXPECT_EQ(put(R"({"name":"Tolma Agent"})"), ok("PUT", kPath, "null"));
}

TEST_F(LoginItem, OnlyPutIsServed) {
    for (char const* method : {"get", "post", "delete"}) {
        std::string upper = method;
        for (char& c : upper)
            c = static_cast<char>(c - 'a' + 'A');
        EXPECT_EQ(call("SystemLoginItem", method, "{}", "{}", kFullBody),
                  methodNotAllowed(upper, ""));
    }
    EXPECT_FALSE(std::filesystem::exists(autostart()));
}

} // namespace
