// kavri::Bridge: the log hook of every request.
#include "bridge/bridge.h"

#include "bridge/tolma_logger.h"

namespace kavri {

std::string Bridge::logMethod(pocketjson::Value const& options) {
    std::string method = methodText(options);
    if (method.empty())
        return "GET";
    for (char& c : method) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    if (method == "PUT" || method == "POST" || method == "DELETE")
        return method;
    return "GET";
}

void Bridge::onEndBridge(BridgeData const& data, BridgeResult const& result) {
    TolmaLogger::Instance().logResult(logMethod(data.options), uri, result);
}

} // namespace kavri
