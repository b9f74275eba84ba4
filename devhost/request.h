// Sending one request: the resource function called with its four texts, and the answer it settled.
#pragma once

#include "devhost/command_line.h"

#include <cstdint>
#include <string>

namespace tolmahost {

class Plugin;

struct Answer {
    std::int32_t promiseId = 0;
    std::int32_t status = 0;
    std::string json;
};

// Calls the resource and finds the answer recorded for the promise id it returned. Throws a
// HostError when the plug-in does not export the resource or settled no answer for that id.
Answer sendRequest(Plugin const& plugin, CallRequest const& request);

// Sends the request and prints the status, the answer and the log lines it wrote. Warns when the
// plug-in broke the page bridge's rules meanwhile.
void callAndPrint(Plugin const& plugin, CallRequest const& request);

} // namespace tolmahost
