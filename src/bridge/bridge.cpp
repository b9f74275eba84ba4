// kavri::Bridge: the log hook of every request.
#include "bridge/bridge.h"

#include "bridge/tolma_logger.h"
#include "fs/strings.h"

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

std::string Bridge::uriText(std::string const& pageText) {
    std::string text;
    LoggerBase::appendEscaped(text, pageText, kMaxUriSelectorBytes);
    return text;
}

void BridgeCheckPageText(std::string const& text, std::string const& name) {
    BridgeCheckRequestCondition(text.find('\0') == std::string::npos,
                                name + " must not contain a NUL character.");
    BridgeCheckRequestCondition(string::is_utf8(text), name + " is not valid UTF-8.");
}

void Bridge::onEndBridge(BridgeData const& data, BridgeResult const& result) {
    TolmaLogger::Instance().logResult(logMethod(data.options), uri, result);
}

} // namespace kavri
