// kavri::Bridge: the base of the plug-in's resources; names the resource and logs each request.
#pragma once

#include "bridge/bridge_template.h"

#include <string>

namespace kavri {

// The plug-in's base URI; each handler appends its resource path, e.g. "System/LoginState".
constexpr char const* kBaseUri = "/tolma/";

class Bridge : public BridgeTemplate {
public:
    Bridge() : uri(kBaseUri) {}

    // Writes the request's log line: the normalised method, `uri` and the result.
    void onEndBridge(BridgeData const& data, BridgeResult const& result) override;

    // "GET", "PUT", "POST" or "DELETE" for the log: the "method" member upper-cased, anything
    // else (or none) "GET".
    static std::string logMethod(pocketjson::Value const& options);

    std::string uri;
};

} // namespace kavri
