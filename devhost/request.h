// Sending one request: the resource function called with its four texts, and the answer it settled.
#pragma once

#include "devhost/command_line.h"
#include "sim/records.h"

#include <cstddef>
#include <vector>

namespace tolmahost {

class Session;

// What one request produced: the answer settled for its promise, the log lines written while it
// ran, how many page-bridge rules were broken meanwhile, and the time the call took.
struct CallResult {
    sim::Response answer;
    std::vector<sim::LogLine> logLines;
    std::size_t brokenRules = 0;
    double milliseconds = 0;
};

// Calls the resource and finds the answer recorded for the promise id it returned. Requests of
// one session take turns, whichever thread sends them, so the log lines of a request are its own
// (and those a plug-in thread wrote meanwhile). Throws a HostError when the plug-in does not
// export the resource or settled no answer for that id.
CallResult sendRequest(Session& session, CallRequest const& request);

// Sends the request and prints the status, the answer and the log lines it wrote. Warns when the
// plug-in broke the page bridge's rules meanwhile.
void callAndPrint(Session& session, CallRequest const& request);

} // namespace tolmahost
