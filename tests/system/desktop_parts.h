// The real desktop parts the session, power and login-item tests start for themselves: scratch
// directories, changed environment variables, fake commands, a private session bus with a mock
// presence service, and an X server.
#pragma once

#include "child_process.h"
#include "wait_until.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace desktop {

// A fresh directory under /tmp, removed with everything in it at the end.
class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(ScratchDirectory const&) = delete;
    ScratchDirectory& operator=(ScratchDirectory const&) = delete;
    std::string const& path() const { return path_; }
    std::string operator/(std::string const& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Sets (or, for nullopt, removes) an environment variable of this process for its lifetime.
class EnvironmentScope {
public:
    EnvironmentScope(std::string name, std::optional<std::string> const& value);
    ~EnvironmentScope();
    EnvironmentScope(EnvironmentScope const&) = delete;
    EnvironmentScope& operator=(EnvironmentScope const&) = delete;

private:
    std::string name_;
    std::optional<std::string> previous_;
};

// Whether `name` is an executable file in a folder of PATH.
bool hasProgram(std::string const& name);
// Writes `text` to `path` and makes it executable.
void writeScript(std::string const& path, std::string const& text);
std::string readFile(std::string const& path);

// Debian's own interpreter, which has the GObject bindings and the D-Bus mock (the first
// python3 on PATH may be another one).
inline constexpr char const* kSystemPython = "/usr/bin/python3";

// A child that runs until this object ends it (SIGTERM, then waits). Its standard output is
// readable line by line; with `outputFd` >= 3 that descriptor is also the pipe's write end
// (e.g. for an X server's -displayfd).
class BackgroundProcess {
public:
    BackgroundProcess(test::ProcessInput const& input, int outputFd = -1);
    ~BackgroundProcess();
    BackgroundProcess(BackgroundProcess const&) = delete;
    BackgroundProcess& operator=(BackgroundProcess const&) = delete;

    bool started() const { return pid_ > 0; }
    // The next line of output, or nullopt when none came before the deadline or it ended.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout);

private:
    pid_t pid_ = -1;
    int out_ = -1;
    std::string buffered_;
};

// A session bus of its own (dbus-daemon --session --fork); ended at the end.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(PrivateBus const&) = delete;
    PrivateBus& operator=(PrivateBus const&) = delete;
    // Empty when the bus could not be started.
    std::string const& address() const { return address_; }

private:
    std::string address_;
    pid_t pid_ = -1;
};

// Runs gdbus with `arguments` on the bus at `address` (and no display to autolaunch one from).
test::ProcessRun gdbus(std::string const& address, std::vector<std::string> const& arguments);

} // namespace desktop
