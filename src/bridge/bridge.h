// kavri::Bridge: the base of the plug-in's resources; names the resource and logs each request.
#pragma once

#include "bridge/bridge_template.h"

#include <cstddef>
#include <string>

namespace kavri {

// The plug-in's base URI; each handler appends its resource path, e.g. "System/LoginState".
constexpr char const* kBaseUri = "/tolma/";
// The longest selector, after escaping, that a request's URI (and so its log line) carries.
constexpr std::size_t kMaxUriSelectorBytes = 4096;

// Page text that the plug-in passes on (to a library, a file call, or into what it stores and
// answers later) must be representable: throws 400 "BadRequestError" when `text` holds a NUL
// ("<name> must not contain a NUL character.") or is not strict UTF-8 ("<name> is not valid
// UTF-8.").
void BridgeCheckPageText(std::string const& text, std::string const& name);

class Bridge : public BridgeTemplate {
public:
    Bridge() : uri(kBaseUri) {}

    // Writes the request's log line: the normalised method, `uri` and the result.
    void onEndBridge(BridgeData const& data, BridgeResult const& result) override;

    // Page text (a selector) as it goes into `uri`: line breaks escaped as in the log, then cut
    // to kMaxUriSelectorBytes at a character boundary.
    static std::string uriText(std::string const& pageText);

    // "GET", "PUT", "POST" or "DELETE" for the log: the "method" member upper-cased, anything
    // else (or none) "GET".
    static std::string logMethod(pocketjson::Value const& options);

    std::string uri;
};

} // namespace kavri
