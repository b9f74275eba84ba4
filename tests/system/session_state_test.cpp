// The session resources through libtolma.so.2 against the real parts: "who -q" (the machine's
// own and a fake one first on PATH), the presence query on a private bus with a mock session
// manager, and the pointer warp on an X server of the test's own.
#include "desktop_parts.h"
#include "plugin_test.h"
#include "sim/sim_control.h"
#include "system_worlds.h"

#include <X11/Xlib.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace systemtest;
using namespace test;
using desktop::EnvironmentScope;

std::string const kNamesWorld =
    worldWithSystem(R"({"userName":"alex","domainName":"example.org"})");

// A fake "who" first on PATH that prints a given text and notes each call's arguments.
class LoginState : public SystemTest {
protected:
    void SetUp() override {
        SystemTest::SetUp();
        ASSERT_EQ(SimWorldLoad(kNamesWorld.c_str()), nullptr);
        ASSERT_FALSE(scratch_.path().empty());
        desktop::writeScript(scratch_ / "who", "#!/bin/sh\necho \"$@\" >> '" + calls() +
                                                   "'\ncat '" + (scratch_ / "who.out") + "'\n");
        path_.emplace("PATH", scratch_.path() + ":" + std::getenv("PATH"));
    }
    void whoPrints(std::string const& text) {
        std::ofstream(scratch_ / "who.out", std::ios::binary | std::ios::trunc) << text;
    }
    std::string calls() const { return scratch_ / "who.calls"; }

    desktop::ScratchDirectory scratch_;
    std::optional<EnvironmentScope> path_;
};

struct WhoCase {
    char const* behaviour;
    char const* output;
    int users;
    char const* state;
};

TEST_F(LoginState, CountsTheDistinctNamesOnTheFirstLineOfWho) {
    WhoCase const cases[] = {
        {"one user", "alice\n# users=1\n", 1, "singleUser"},
        {"several users", "alice bob carol\n# users=3\n", 3, "multipleUsers"},
        {"a repeated user", "alice bob alice\n# users=3\n", 2, "multipleUsers"},
        {"an empty first line", "\n# users=0\n", 0, "off"},
        {"no output at all", "", 0, "off"},
        {"runs of spaces and spaces at the ends", "  alice   bob  \n", 2, "multipleUsers"},
        {"names on later lines", "alice\nbob carol\n", 1, "singleUser"},
        {"a carriage return ending the line", "alice\rbob carol\n", 1, "singleUser"},
        {"a tab inside a name", "alice\tbob alice\tbob\n", 1, "singleUser"},
    };
    for (WhoCase const& c : cases) {
        SCOPED_TRACE(c.behaviour);
        whoPrints(c.output);
        EXPECT_EQ(call("SystemLoginState", "get", "{}"),
                  ok("GET", "System/LoginState",
                     std::string(R"({"currentUser":"alex","domainName":"example.org","state":")") +
                         c.state + R"(","userCount":)" + std::to_string(c.users) + "}"));
    }
    std::string everyCall;
    for (std::size_t i = 0; i < std::size(cases); ++i)
        everyCall += "-q\n";
    EXPECT_EQ(desktop::readFile(calls()), everyCall);
}

TEST_F(LoginState, RunsWhoWithTheQuickOptionOnlyWhenTheStateIsAsked) {
    struct FilterCase {
        char const* query;
        char const* answer;
        bool runsWho;
    };
    FilterCase const cases[] = {
        {"{}",
         R"({"currentUser":"alex","domainName":"example.org","state":"multipleUsers",)"
         R"("userCount":2})",
         true},
        {R"({"filter":""})",
         R"({"currentUser":"alex","domainName":"example.org",)"
         R"("state":"multipleUsers","userCount":2})",
         true},
        {R"({"filter":"state"})", R"({"state":"multipleUsers","userCount":2})", true},
        {R"({"filter":"currentUser"})", R"({"currentUser":"alex"})", false},
        {R"({"filter":"domainName"})", R"({"domainName":"example.org"})", false},
        {R"({"filter":"State"})", "{}", false},
        {R"({"filter":"userCount"})", "{}", false},
        {R"({"filter":5})", "{}", false},
        {R"({"filter":null})",
         R"({"currentUser":"alex","domainName":"example.org",)"
         R"("state":"multipleUsers","userCount":2})",
         true},
        {R"(["state"])",
         R"({"currentUser":"alex","domainName":"example.org",)"
         R"("state":"multipleUsers","userCount":2})",
         true},
    };
    whoPrints("alice bob\n");
    for (FilterCase const& c : cases) {
        SCOPED_TRACE(c.query);
        std::remove(calls().c_str());
        EXPECT_EQ(call("SystemLoginState", "get", "{}", c.query),
                  ok("GET", "System/LoginState", c.answer));
        EXPECT_EQ(desktop::readFile(calls()), c.runsWho ? "-q\n" : "");
    }
}

TEST_F(LoginState, LeavesOutNamesTheLibraryDoesNotKnow) {
    whoPrints("alice\n");
    SimWorldFailCalls("OrmGetUserName", 1);
    EXPECT_EQ(call("SystemLoginState", "get", "{}"),
              ok("GET", "System/LoginState",
                 R"({"domainName":"example.org","state":"singleUser","userCount":1})"));
    ASSERT_EQ(SimWorldLoad(worldWithSystem(R"({"userName":"alex"})").c_str()), nullptr);
    EXPECT_EQ(call("SystemLoginState", "get", "{}", R"({"filter":"domainName"})"),
              ok("GET", "System/LoginState", "{}"));
}

TEST_F(LoginState, APipeThatCannotBeOpenedIsAnInternalError) {
    // The same resource once first (without "who"), so that the log has opened what it needs,
    // and a sanitizer's runtime has checked the handler's type, before descriptors run out.
    ASSERT_EQ(call("SystemLoginState", "get", "{}", R"({"filter":"domainName"})").status, 200);
    // The lowest free descriptor as the limit: no new descriptor, so no pipe, can be made.
    int const lowest = dup(0);
    ASSERT_GE(lowest, 0);
    close(lowest);
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit limited = saved;
    limited.rlim_cur = static_cast<rlim_t>(lowest);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limited), 0);
    Answer const answer = call("SystemLoginState", "get", "{}", R"({"filter":"state"})");
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &saved), 0);
    EXPECT_EQ(answer, internalError("GET", "System/LoginState", "Failed to open pipe 'who -q'."));
}

// The machine's own "who": on a machine without a login record it prints an empty first line.
class RealWho : public SystemTest {};

TEST_F(RealWho, AgreesWithTheFirstLineTheMachinePrints) {
    ProcessRun const who = runProcess({"who", {"-q"}, "", {}});
    if (who.exitStatus != 0)
        GTEST_SKIP() << "who -q does not run here";
    std::istringstream firstLine(who.out.substr(0, who.out.find('\n')));
    std::set<std::string> const names{std::istream_iterator<std::string>(firstLine),
                                      std::istream_iterator<std::string>()};
    char const* const state =
        names.empty() ? "off" : (names.size() == 1 ? "singleUser" : "multipleUsers");
    EXPECT_EQ(call("SystemLoginState", "get", "{}", R"({"filter":"state"})"),
              ok("GET", "System/LoginState",
                 std::string(R"({"state":")") + state + R"(","userCount":)" +
                     std::to_string(names.size()) + "}"));
}

class LockState : public SystemTest {};

TEST_F(LockState, IsAlwaysUnlocked) {
    EXPECT_EQ(call("SystemLockState", "get", "{}"),
              ok("GET", "System/LockState", R"({"state":"unlocked"})"));
    EXPECT_EQ(call("SystemLockState", "delete", "{}"), methodNotAllowed("DELETE", ""));
}

// A private session bus (nothing else on this process's buses is reached, and no bus is ever
// autolaunched); with startPresence() a mock session manager whose presence has a "status".
class ScreenSaverState : public SystemTest {
protected:
    void SetUp() override {
        SystemTest::SetUp();
        if (!desktop::hasProgram("dbus-daemon") || !desktop::hasProgram("gdbus"))
            GTEST_SKIP() << "dbus-daemon or gdbus is not installed";
        ASSERT_FALSE(bus_.address().empty()) << "the private bus did not start";
        address_.emplace("DBUS_SESSION_BUS_ADDRESS", bus_.address());
        display_.emplace("DISPLAY", std::nullopt);
    }

    // False (with the test skipped) when the mock cannot run here.
    bool startPresence() {
        if (runProcess({desktop::kSystemPython, {"-c", "import dbusmock"}, "", {}}).exitStatus !=
            0) {
            skipped_ = true;
            return false;
        }
        mock_.emplace(ProcessInput{desktop::kSystemPython,
                                   {"-m", "dbusmock", "--session", "org.gnome.SessionManager",
                                    kPresencePath, "org.gnome.SessionManager.Presence"},
                                   "",
                                   {{"DBUS_SESSION_BUS_ADDRESS", bus_.address()}}});
        bool const owned = test::waitUntil([this] {
            return desktop::gdbus(bus_.address(),
                                  {"call", "-e", "-d", "org.freedesktop.DBus", "-o",
                                   "/org/freedesktop/DBus", "-m",
                                   "org.freedesktop.DBus.NameHasOwner", "org.gnome.SessionManager"})
                       .out == "(true,)\n";
        }, std::chrono::seconds(10));
        EXPECT_TRUE(owned) << "the mock session manager did not appear";
        // The query names the object path where the interface belongs, so the property is kept
        // under that literal name.
        return owned && presenceCall("org.freedesktop.DBus.Mock.AddProperty", "<uint32 0>");
    }

    bool setStatus(std::string const& variant) {
        return presenceCall("org.freedesktop.DBus.Properties.Set", variant);
    }

    bool skipped_ = false;

private:
    static constexpr char const* kPresencePath = "/org/gnome/SessionManager/Presence";

    bool presenceCall(char const* method, std::string const& variant) {
        ProcessRun const run = desktop::gdbus(
            bus_.address(), {"call", "-e", "-d", "org.gnome.SessionManager", "-o", kPresencePath,
                             "-m", method, kPresencePath, "status", variant});
        EXPECT_EQ(run.exitStatus, 0) << run.err;
        return run.exitStatus == 0;
    }

    desktop::PrivateBus bus_;
    std::optional<EnvironmentScope> address_;
    std::optional<EnvironmentScope> display_;
    std::optional<desktop::BackgroundProcess> mock_;
};

TEST_F(ScreenSaverState, RunsWhenThePresenceStatusIsNotAvailable) {
    if (!startPresence()) {
        if (skipped_)
            GTEST_SKIP() << "python3-dbusmock is not installed for " << desktop::kSystemPython;
        return;
    }
    struct StatusCase {
        char const* variant;
        bool running;
    };
    StatusCase const cases[] = {{"<uint32 0>", false}, {"<uint32 3>", true}, {"<uint32 1>", true},
                                {"<uint32 2>", true},  {"<'idle'>", false},  {"<uint32 0>", false}};
    for (StatusCase const& c : cases) {
        SCOPED_TRACE(c.variant);
        ASSERT_TRUE(setStatus(c.variant));
        EXPECT_EQ(call("SystemScreenSaver", "get", "{}"),
                  ok("GET", "System/ScreenSaver",
                     std::string(R"({"isRunning":)") + (c.running ? "true" : "false") + "}"));
    }
}

TEST_F(ScreenSaverState, IsNotRunningWithoutASessionManagerOrABus) {
    EXPECT_EQ(call("SystemScreenSaver", "get", "{}"),
              ok("GET", "System/ScreenSaver", R"({"isRunning":false})"));
    EnvironmentScope const noBus("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    EXPECT_EQ(call("SystemScreenSaver", "get", "{}"),
              ok("GET", "System/ScreenSaver", R"({"isRunning":false})"));
}

// An X server of the test's own (reset never, so the pointer and the idle time stay between
// connections) and an observer connection that sees the root window's pointer motion.
class ScreenSaverCancel : public SystemTest {
protected:
    void SetUp() override {
        SystemTest::SetUp();
        if (!desktop::hasProgram("Xvfb"))
            GTEST_SKIP() << "Xvfb is not installed";
        server_.emplace(ProcessInput{"Xvfb",
                                     {"-displayfd", "3", "-screen", "0", "1024x768x24", "-nolisten",
                                      "tcp", "-noreset"},
                                     "",
                                     {}},
                        3);
        std::optional<std::string> const number = server_->readLine(std::chrono::seconds(10));
        ASSERT_TRUE(number.has_value()) << "Xvfb did not report its display";
        name_ = ":" + *number;
        observer_ = XOpenDisplay(name_.c_str());
        ASSERT_NE(observer_, nullptr);
        root_ = DefaultRootWindow(observer_);
        XSelectInput(observer_, root_, PointerMotionMask);
        XWarpPointer(observer_, None, root_, 0, 0, 0, 0, 100, 200);
        discardEvents();
    }
    void TearDown() override {
        if (observer_ != nullptr)
            XCloseDisplay(observer_);
        SystemTest::TearDown();
    }

    // Everything the server did for other clients so far has reached this connection.
    void discardEvents() { XSync(observer_, True); }

    // The pointer motions reported since the last look, as "x,y" of the root window.
    std::vector<std::string> motions() {
        XSync(observer_, False);
        std::vector<std::string> seen;
        XEvent event;
        while (XCheckTypedEvent(observer_, MotionNotify, &event))
            seen.push_back(std::to_string(event.xmotion.x_root) + "," +
                           std::to_string(event.xmotion.y_root));
        return seen;
    }

    std::string pointer() {
        Window root = 0, child = 0;
        int x = 0, y = 0, windowX = 0, windowY = 0;
        unsigned mask = 0;
        XQueryPointer(observer_, root_, &root, &child, &x, &y, &windowX, &windowY, &mask);
        return std::to_string(x) + "," + std::to_string(y);
    }

    std::optional<desktop::BackgroundProcess> server_;
    std::string name_;
    Display* observer_ = nullptr;
    Window root_ = 0;
};

TEST_F(ScreenSaverCancel, WarpsThePointerToWhereItIs) {
    EnvironmentScope const display("DISPLAY", name_);
    EXPECT_EQ(call("SystemScreenSaver", "delete", "{}"),
              ok("DELETE", "System/ScreenSaver", "null"));
    EXPECT_EQ(motions(), std::vector<std::string>{"100,200"});
    EXPECT_EQ(pointer(), "100,200");
}

TEST_F(ScreenSaverCancel, DoesNothingWithoutADisplay) {
    for (std::optional<std::string> const& display :
         {std::optional<std::string>(), std::optional<std::string>(":"),
          std::optional<std::string>("unix:65000")}) {
        SCOPED_TRACE(display.value_or("(unset)"));
        EnvironmentScope const scope("DISPLAY", display);
        EXPECT_EQ(call("SystemScreenSaver", "delete", "{}"),
                  ok("DELETE", "System/ScreenSaver", "null"));
    }
    EXPECT_EQ(motions(), std::vector<std::string>{});
    EXPECT_EQ(pointer(), "100,200");
}

class EventLogBackup : public SystemTest {};

TEST_F(EventLogBackup, IsRefusedAsUnsupported) {
    EXPECT_EQ(call("SystemEventLogBackup", "post", "{}", "{}", R"({"path":"/tmp/x"})"),
              failure("POST", "System/EventLog/Backup", 405, "MethodNotAllowed",
                      "Unsupported platform."));
    EXPECT_EQ(call("SystemEventLogBackup", "get", "{}"), methodNotAllowed("GET", ""));
}

} // namespace
