// `tolmahost serve`: the web console, an HTTP server on the loopback address over one session.
#pragma once

#include "devhost/command_line.h"

#include <string>
#include <vector>

namespace tolmahost {

constexpr int kDefaultConsolePort = 8420;

// Reads "[--port N]" (0: any free port). Throws a usage HostError.
int parseServeWords(std::vector<std::string> const& words);

// Starts a session, serves the console on 127.0.0.1:`port` until SIGINT or SIGTERM, then ends the
// session (TearDown, unload). Prints the address once it listens. Throws a HostError when the port
// cannot be had.
void serveConsole(HostOptions const& host, int port);

} // namespace tolmahost
