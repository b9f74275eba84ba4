// The console's JSON API without the transport: requests read from JSON, answers and events as JSON.
#pragma once

#include "devhost/command_line.h"
#include "devhost/events.h"
#include "devhost/request.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace tolmahost::console {

// A request the API refuses: the HTTP status (4xx) and a one-line message.
class ApiError : public std::runtime_error {
public:
    ApiError(int status, std::string const& message)
        : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

// The members of a JSON object text at its top level, each with its value's exact text (the first
// of two equal keys wins, as the JSON parser does). Throws ApiError 400 when `text` is not a JSON
// object.
struct Member {
    std::string key;
    std::string rawValue;
};
std::vector<Member> objectMembers(std::string const& text);

// A value's text as a resource argument: a JSON string is its exact content, any other value its
// text without blanks outside strings.
std::string argumentText(std::string const& rawValue);

// {"resource", "method", "params", "query", "body", "options"} to the request `tolmahost call`
// sends: absent arguments are "", options default to {"method":METHOD} with METHOD "get".
// Throws ApiError 400 for a malformed request, 404 for a resource the plug-in's list lacks.
CallRequest callRequestFrom(std::string const& body);

// {"status", "answer" (the answer's value, null when it is not JSON), "answerText" (its exact
// text), "log" ([{name, level, line}]), "milliseconds", "brokenRules"}.
std::string callResultJson(CallResult const& result);

// {"command": "WORDS" | ["WORD", ...]} to the words of a world command. Throws ApiError 400.
std::vector<std::string> worldCommandFrom(std::string const& body);

// {"number", "name", "time" (milliseconds since 1970), "payload", "payloadText"}.
std::string eventJson(StreamedEvent const& event);

// {"resources": [{"name", "methods": ["get", ...], "exported"}], "extraFunctions": [...],
// "inputTable": the README's resource input table}; `exported` tells which names the plug-in has.
std::string resourcesJson(std::vector<bool> const& exported, std::vector<bool> const& extraExported);

// {"error": MESSAGE}.
std::string errorJson(std::string const& message);

// True when a Host header names the loopback address (127.0.0.1, localhost or [::1]) and `port`
// (given, or 80 when left out).
bool isLoopbackHost(std::string const& host, int port);

// True when an Origin header is http:// and a loopback Host for `port`.
bool isLoopbackOrigin(std::string const& origin, int port);

} // namespace tolmahost::console
