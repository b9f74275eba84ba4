// Runs the built tolmahost as a child process with given arguments, input and environment.
#pragma once

#include "child_process.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace devhost_test {

using HostRun = test::ProcessRun;

struct HostInput {
    std::vector<std::string> arguments;
    std::string stdinText;
    // Set (name, value) or, with an empty value, removed; TOLMA_SIM_EXPORTS_DIR and
    // TOLMAHOST_PLUGIN are removed unless given here.
    std::vector<std::pair<std::string, std::string>> environment;
    std::chrono::milliseconds timeout{20000};
};

// Killed (and timedOut set) past the timeout.
HostRun runHost(HostInput const& input);

// Shorthand: arguments only.
HostRun runHost(std::vector<std::string> const& arguments);

// The lines of a text, without their line ends.
std::vector<std::string> linesOf(std::string const& text);

// The line without a leading "[   1.234] " time stamp.
std::string withoutTimestamp(std::string const& line);

} // namespace devhost_test
