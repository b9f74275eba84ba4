// PowerManagementSettings and the two exported power functions, run by the development host as a
// child process against real settings back ends: GSettings' keyfile back end with the test's own
// copies of the two schemas (both, or only one of them), the real dconf back end on a private
// bus with the installed schemas, and GConf on a machine where libdconf cannot be opened. What
// each run left behind is read afterwards by the desktop's own tools in another process.
#include "child_process.h"
#include "desktop_parts.h"
#include "hidden_library.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using desktop::ScratchDirectory;
using test::ProcessInput;
using test::ProcessRun;
using test::runProcess;
using Environment = std::vector<std::pair<std::string, std::string>>;

std::string const kSessionSchema =
    R"(<schemalist><schema id="org.gnome.desktop.session" path="/org/gnome/desktop/session/">)"
    R"(<key name="idle-delay" type="u"><default>300</default></key></schema></schemalist>)";
std::string const kPowerSchema =
    R"(<schemalist><enum id="org.gnome.settings-daemon.GsdPowerActionType">)"
    R"(<value nick="blank" value="4"/><value nick="suspend" value="1"/>)"
    R"(<value nick="shutdown" value="2"/><value nick="hibernate" value="3"/>)"
    R"(<value nick="interactive" value="5"/><value nick="nothing" value="6"/>)"
    R"(<value nick="logout" value="7"/></enum>)"
    R"(<schema id="org.gnome.settings-daemon.plugins.power")"
    R"( path="/org/gnome/settings-daemon/plugins/power/">)"
    R"(<key name="sleep-inactive-ac-type" enum="org.gnome.settings-daemon.GsdPowerActionType">)"
    R"(<default>'suspend'</default></key>)"
    R"(<key name="sleep-inactive-battery-type")"
    R"( enum="org.gnome.settings-daemon.GsdPowerActionType"><default>'suspend'</default></key>)"
    R"(</schema></schemalist>)";

// One setting: how the back end's own tool writes its original value and reads it back.
struct Setting {
    std::string set;      // a shell command that gives the setting its original value
    std::string get;      // a shell command that prints the current value
    std::string original; // as printed after `set`
    std::string disabled; // as printed while the plug-in keeps the desktop awake
    std::string restored; // as printed after the plug-in gave the settings back
};

Setting gsetting(std::string const& schema, std::string const& key, std::string const& value,
                 std::string const& shown, std::string const& disabled) {
    return {"gsettings set " + schema + " " + key + " \"" + value + "\"",
            "gsettings get " + schema + " " + key, shown, disabled, shown};
}

Setting idleDelay() {
    return gsetting("org.gnome.desktop.session", "idle-delay", "600", "uint32 600", "uint32 0");
}
std::vector<Setting> sleepTypes() {
    return {gsetting("org.gnome.settings-daemon.plugins.power", "sleep-inactive-ac-type", "blank",
                     "'blank'", "'nothing'"),
            gsetting("org.gnome.settings-daemon.plugins.power", "sleep-inactive-battery-type",
                     "hibernate", "'hibernate'", "'nothing'")};
}

Setting gconfSetting(std::string const& key, std::string const& type, std::string const& value,
                     std::string const& disabled) {
    std::string const set = value.empty()
                                ? "gconftool-2 --unset " + key
                                : "gconftool-2 --set " + key + " --type " + type + " " + value;
    // A key that was not there is not written back: it keeps the value it got while disabled.
    return {set, "gconftool-2 --get " + key, value, disabled, value.empty() ? disabled : value};
}

// A settings back end in a scratch home: the environment of every process that touches it, the
// command that starts a process inside it, and the settings it holds.
struct Backend {
    Environment environment;
    std::vector<std::string> wrapper; // put before the program, e.g. {"dbus-run-session", "--"}
    std::vector<Setting> settings;
    std::string skipReason; // not empty when the machine lacks what it needs

    ProcessRun run(std::string const& program, std::vector<std::string> const& arguments,
                   std::string const& input = "") const {
        std::vector<std::string> all = wrapper;
        all.push_back(program);
        all.insert(all.end(), arguments.begin(), arguments.end());
        std::string const first = all.front();
        all.erase(all.begin());
        return runProcess(ProcessInput{first, all, input, environment});
    }
    ProcessRun shell(std::string const& script) const { return run("sh", {"-c", script}); }

    // Gives every setting its original value.
    ::testing::AssertionResult reset() const {
        std::string script = "set -e";
        for (Setting const& setting : settings)
            script += "; " + setting.set;
        ProcessRun const done = shell(script);
        if (done.exitStatus != 0)
            return ::testing::AssertionFailure() << script << ": " << done.err;
        return ::testing::AssertionSuccess();
    }

    // The settings' values, each in brackets so that a missing one still has its line.
    std::vector<std::string> values() const {
        std::string script;
        for (Setting const& setting : settings)
            script += "echo \"[$(" + setting.get + " 2>/dev/null)]\"; ";
        std::vector<std::string> lines;
        std::istringstream out(shell(script).out);
        for (std::string line; std::getline(out, line);)
            lines.push_back(line);
        return lines;
    }

    std::vector<std::string> expected(std::string Setting::*which) const {
        std::vector<std::string> lines;
        for (Setting const& setting : settings)
            lines.push_back("[" + setting.*which + "]");
        return lines;
    }
};

// The file the dynamic loader opens for a library name, or "" when it cannot be opened.
enum class Kind { KeyfileBoth, KeyfileSessionOnly, KeyfilePowerOnly, Dconf, GConf };

struct BackendCase {
    char const* name;
    Kind kind;
};

class PowerSettings : public ::testing::TestWithParam<BackendCase> {
protected:
    void SetUp() override {
        ASSERT_FALSE(scratch_.path().empty());
        for (char const* folder : {"home", "config", "runtime", "data", "schemas"})
            std::filesystem::create_directory(scratch_ / folder);
        std::filesystem::permissions(scratch_ / "runtime", std::filesystem::perms::owner_all);
        backend_.environment = {{"HOME", scratch_ / "home"},
                                {"XDG_CONFIG_HOME", scratch_ / "config"},
                                {"XDG_RUNTIME_DIR", scratch_ / "runtime"},
                                {"DBUS_SESSION_BUS_ADDRESS", ""},
                                {"DISPLAY", ""},
                                {"TOLMA_SIM_EXPORTS_DIR", ""},
                                {"TOLMAHOST_PLUGIN", ""},
                                {"GSETTINGS_BACKEND", ""}};
        Kind const kind = GetParam().kind;
        if (kind == Kind::GConf)
            useGConf();
        else if (kind == Kind::Dconf)
            useDconf();
        else
            useKeyfile(kind != Kind::KeyfilePowerOnly, kind != Kind::KeyfileSessionOnly);
        if (!backend_.skipReason.empty())
            GTEST_SKIP() << backend_.skipReason;
    }

    void useKeyfile(bool session, bool power) {
        if (!desktop::hasProgram("gsettings") || !desktop::hasProgram("glib-compile-schemas")) {
            backend_.skipReason = "the GLib tools are not installed";
            return;
        }
        if (session) {
            std::ofstream(scratch_ / "schemas/session.gschema.xml") << kSessionSchema;
            backend_.settings.push_back(idleDelay());
        }
        if (power) {
            std::ofstream(scratch_ / "schemas/power.gschema.xml") << kPowerSchema;
            for (Setting const& setting : sleepTypes())
                backend_.settings.push_back(setting);
        }
        ProcessRun const compiled =
            runProcess({"glib-compile-schemas", {scratch_ / "schemas"}, "", {}});
        ASSERT_EQ(compiled.exitStatus, 0) << compiled.err;
        backend_.environment.insert(backend_.environment.end(),
                                    {{"GSETTINGS_BACKEND", "keyfile"},
                                     {"GSETTINGS_SCHEMA_DIR", scratch_ / "schemas"},
                                     {"XDG_DATA_DIRS", scratch_ / "data"}});
    }

    void useDconf() {
        backend_.settings = {idleDelay()};
        for (Setting const& setting : sleepTypes())
            backend_.settings.push_back(setting);
        if (!desktop::hasProgram("dbus-run-session") || !desktop::hasProgram("gsettings") ||
            test::loadedLibraryFile("libdconf.so.1").empty()) {
            backend_.skipReason = "dbus-run-session, gsettings or libdconf is not installed";
            return;
        }
        backend_.wrapper = {"dbus-run-session", "--"};
        std::string const schemas = backend_.run("gsettings", {"list-schemas"}).out;
        for (char const* schema :
             {"org.gnome.desktop.session\n", "org.gnome.settings-daemon.plugins.power\n"}) {
            if (schemas.find(schema) == std::string::npos)
                backend_.skipReason = std::string("the schema is not installed: ") + schema;
        }
    }

    void useGConf() {
        std::string const dconf = test::loadedLibraryFile("libdconf.so.1");
        if (!desktop::hasProgram("gconftool-2") || !desktop::hasProgram("unshare")) {
            backend_.skipReason = "gconftool-2 or unshare is not installed";
            return;
        }
        if (!dconf.empty()) {
            // Hide the library from the host: /dev/null mounted over it in a namespace of its own.
            backend_.wrapper = test::hidingWrapper(dconf);
            if (backend_.run("true", {}).exitStatus != 0) {
                backend_.skipReason = "this machine refuses a mount namespace for the test";
                return;
            }
        }
        backend_.settings = {
            gconfSetting("/apps/gnome-screensaver/idle_activation_enabled", "boolean", "true",
                         "false"),
            gconfSetting("/apps/gnome-power-manager/timeout/sleep_computer_ac", "int", "1800", "0"),
            gconfSetting("/apps/gnome-power-manager/timeout/sleep_computer_battery", "int", "600",
                         "0"),
            gconfSetting("/apps/gnome-power-manager/timeout/sleep_display_ac", "int", "300", "0"),
            gconfSetting("/apps/gnome-power-manager/timeout/sleep_display_battery", "int", "", "0"),
        };
    }

    // The development host runs `script`; every request it makes answers 200 with null.
    void host(std::string const& script) {
        ProcessRun const run =
            backend_.run(TOLMAHOST_PATH, {"--no-log", "--no-timestamps", "script", "-"}, script);
        ASSERT_EQ(run.exitStatus, 0) << "signal " << run.signal << "\n" << run.out << run.err;
        std::size_t requests = 0;
        std::istringstream lines(script);
        for (std::string line; std::getline(lines, line);)
            requests += line.rfind("power ", 0) == 0 ? 0u : 1u;
        std::size_t answers = 0;
        for (std::size_t at = run.out.find("status 200\n{\"error\":null,\"value\":null}\n");
             at != std::string::npos;
             at = run.out.find("status 200\n{\"error\":null,\"value\":null}\n", at + 1))
            ++answers;
        EXPECT_EQ(answers, requests) << run.out;
    }

    ScratchDirectory scratch_;
    Backend backend_;
};

struct Scenario {
    char const* behaviour;
    char const* script;
    std::string Setting::*leaves;
};

TEST_P(PowerSettings, DisablesAndGivesBackTheSettingsAsTheRequestsSay) {
    Scenario const scenarios[] = {
        {"Post keeps the desktop awake", "post PowerManagementSettings\n", &Setting::disabled},
        {"Post then Delete gives the settings back",
         "post PowerManagementSettings\ndelete PowerManagementSettings\n", &Setting::restored},
        {"Post, Post, Delete writes back what the second Post saved",
         "post PowerManagementSettings\npost PowerManagementSettings\n"
         "delete PowerManagementSettings\n",
         &Setting::disabled},
        {"Delete alone changes nothing", "delete PowerManagementSettings\n", &Setting::original},
        {"Put changes nothing", "put PowerManagementSettings\n", &Setting::original},
        // The host's record is its own: the resource's Post and Delete in between leave it.
        {"the exported Disable and Restore around a Post and a Delete",
         "power disable\npost PowerManagementSettings\ndelete PowerManagementSettings\n"
         "power restore\n",
         &Setting::restored},
        {"the exported Disable then Restore give the settings back",
         "power disable\npower restore\n", &Setting::restored},
    };
    for (Scenario const& scenario : scenarios) {
        SCOPED_TRACE(scenario.behaviour);
        ASSERT_TRUE(backend_.reset());
        ASSERT_EQ(backend_.values(), backend_.expected(&Setting::original));
        host(scenario.script);
        EXPECT_EQ(backend_.values(), backend_.expected(scenario.leaves));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Backends, PowerSettings,
    ::testing::Values(BackendCase{"KeyfileWithBothSchemas", Kind::KeyfileBoth},
                      BackendCase{"KeyfileWithOnlyTheSessionSchema", Kind::KeyfileSessionOnly},
                      BackendCase{"KeyfileWithOnlyThePowerSchema", Kind::KeyfilePowerOnly},
                      BackendCase{"DconfOnAPrivateBus", Kind::Dconf},
                      BackendCase{"GConfWithoutDconf", Kind::GConf}),
    [](::testing::TestParamInfo<BackendCase> const& backend) { return backend.param.name; });

} // namespace
