// Sending one request: the resource function called with its four texts, and the answer it settled.
#include "devhost/request.h"

#include "devhost/host_error.h"
#include "devhost/printer.h"
#include "devhost/session.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <chrono>
#include <mutex>

namespace tolmahost {

CallResult sendRequest(Session& session, CallRequest const& request) {
    sim::host::Plugin const& plugin = session.plugin();
    sim::host::ResourceFunction const function = plugin.resource(request.resource);
    if (function == nullptr)
        throw HostError(plugin.path() + " does not export " + request.resource);

    std::lock_guard<std::mutex> const turn(session.requestTurn());
    CallResult result;
    std::size_t const violations = SimPageBridgeViolationCount();
    std::size_t const logBefore = session.log().count();
    std::size_t const before = SimPageBridgeResponseCount();
    auto const start = std::chrono::steady_clock::now();
    std::int32_t const promiseId = function(request.options.c_str(), request.parameters.c_str(),
                                            request.query.c_str(), request.body.c_str());
    std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
    result.milliseconds = took.count();
    result.logLines = session.log().lines(logBefore);
    result.brokenRules = SimPageBridgeViolationCount() - violations;
    // Requests take turns, so the answer is among those recorded since.
    for (sim::Response const& answer : sim::host::responses(before)) {
        if (answer.promiseId == promiseId) {
            result.answer = answer;
            return result;
        }
    }
    throw HostError(request.resource + " returned promise " + std::to_string(promiseId) +
                    " without settling it");
}

void callAndPrint(Session& session, CallRequest const& request) {
    Printer& printer = Printer::instance();
    CallResult result;
    try {
        result = sendRequest(session, request);
    } catch (...) {
        printer.flushLog();
        throw;
    }
    printer.answer(result.answer.statusCode, result.answer.json, request.pretty);
    printer.flushLog();
    if (result.brokenRules != 0)
        printer.print("warning: " + std::to_string(result.brokenRules) +
                      " page-bridge rule(s) broken during this request (see standard error)");
}

} // namespace tolmahost
