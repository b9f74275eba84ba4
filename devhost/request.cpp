// Sending one request: the resource function called with its four texts, and the answer it settled.
#include "devhost/request.h"

#include "devhost/host_error.h"
#include "devhost/printer.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

namespace tolmahost {

sim::Response sendRequest(sim::host::Plugin const& plugin, CallRequest const& request) {
    sim::host::ResourceFunction const function = plugin.resource(request.resource);
    if (function == nullptr)
        throw HostError(plugin.path() + " does not export " + request.resource);
    std::size_t const before = SimPageBridgeResponseCount();
    std::int32_t const promiseId = function(request.options.c_str(), request.parameters.c_str(),
                                            request.query.c_str(), request.body.c_str());
    // Requests are only sent from this thread, so the answer is among those recorded since.
    for (sim::Response const& answer : sim::host::responses(before)) {
        if (answer.promiseId == promiseId)
            return answer;
    }
    throw HostError(request.resource + " returned promise " + std::to_string(promiseId) +
                    " without settling it");
}

void callAndPrint(sim::host::Plugin const& plugin, CallRequest const& request) {
    std::size_t const violations = SimPageBridgeViolationCount();
    Printer& printer = Printer::instance();
    sim::Response answer;
    try {
        answer = sendRequest(plugin, request);
    } catch (...) {
        printer.flushLog();
        throw;
    }
    printer.answer(answer.statusCode, answer.json, request.pretty);
    printer.flushLog();
    std::size_t const broken = SimPageBridgeViolationCount() - violations;
    if (broken != 0)
        printer.print("warning: " + std::to_string(broken) +
                      " page-bridge rule(s) broken during this request (see standard error)");
}

} // namespace tolmahost
