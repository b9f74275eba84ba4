// Runs a program as a child process with given arguments, input and environment, with a deadline.
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace test {

struct ProcessRun {
    std::string out;
    std::string err;
    int exitStatus = -1; // -1 when it did not exit normally (or could not be started)
    int signal = 0;      // the signal that ended it, 0 when none
    bool timedOut = false;
};

struct ProcessInput {
    // A path, or a name looked up on this process's PATH.
    std::string program;
    std::vector<std::string> arguments;
    std::string stdinText;
    // This process's environment with each (name, value) set or, with an empty value, removed.
    std::vector<std::pair<std::string, std::string>> environment;
    std::chrono::milliseconds timeout{20000};
};

// This process's environment ("NAME=value" texts) with `input.environment` applied.
std::vector<std::string> childEnvironment(ProcessInput const& input);

// Feeds the input and collects both outputs; the child is killed (and timedOut set) past the
// timeout.
ProcessRun runProcess(ProcessInput const& input);

// This program's own file (/proc/self/exe).
std::string currentExecutable();

// Runs this program again with the one argument "--scenario=NAME" and this environment; a program
// that offers scenarios runs the named one from main() and exits with its verdict.
ProcessRun runScenario(std::string const& name, std::chrono::milliseconds timeout);

// The argv/envp form of `texts`: pointers into them, then a null pointer.
std::vector<char*> argumentPointers(std::vector<std::string>& texts);

} // namespace test
