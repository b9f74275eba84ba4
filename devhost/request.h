// Sending one request: the resource function called with its four texts, and the answer it settled.
#pragma once

#include "devhost/command_line.h"
#include "sim/host/plugin.h"
#include "sim/records.h"

namespace tolmahost {

// Calls the resource and finds the answer recorded for the promise id it returned. Throws a
// HostError when the plug-in does not export the resource or settled no answer for that id.
sim::Response sendRequest(sim::host::Plugin const& plugin, CallRequest const& request);

// Sends the request and prints the status, the answer and the log lines it wrote. Warns when the
// plug-in broke the page bridge's rules meanwhile.
void callAndPrint(sim::host::Plugin const& plugin, CallRequest const& request);

} // namespace tolmahost
