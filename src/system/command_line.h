// The one way the system services run a command: through a read pipe, keeping its first line.
#pragma once

#include <cstdio>
#include <string>

namespace kavri::system {

namespace detail {

// Reads up to the end of the stream, a line feed or a carriage return and returns what came
// before, without the terminator (empty at the end of the stream).
std::string GetLineFromFILE(std::FILE* stream);

} // namespace detail

// Runs `command` with popen(command, "r") (so through /bin/sh and the PATH of the process),
// stores the first line of its output in `firstLine` and closes the pipe. False only when the
// pipe cannot be opened; a command that is missing or fails gives an empty line and true.
bool RunCommandFirstLine(char const* command, std::string& firstLine);

} // namespace kavri::system
