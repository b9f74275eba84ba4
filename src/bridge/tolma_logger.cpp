// The logger: finding the logging library, and the exact text of request and event lines.
#include "bridge/tolma_logger.h"

#include "platform/ostrana2.h"

#include <cinttypes>
#include <cstdio>

namespace kavri {

namespace {

constexpr std::int32_t kLevelSuccess = 0;
constexpr std::int32_t kLevelFailure = 3;

} // namespace

LoggerBase::LoggerBase(std::string loggerName) : name(std::move(loggerName)) {}

std::string LoggerBase::resultLine(std::string const& method, std::string const& uri,
                                   BridgeResult const& result) {
    bool const success = result.statusCode >= 200 && result.statusCode <= 299;
    std::string line = "statusCode:" + std::to_string(static_cast<int>(result.statusCode)) +
                       "\tmethod:" + method + "\turi:" + uri;
    if (success) {
        line += "\tmsg:Success";
        return line;
    }
    line += "\terr:" + result.error.name + "\tmsg:" + result.error.message;
    pocketjson::Value const& code = result.error.detail["code"];
    if (code.type() == pocketjson::Type::Integer || code.type() == pocketjson::Type::Double) {
        // Outside 0..4294967295 (after rounding a double) the code is written as 0.
        char hex[16];
        std::snprintf(hex, sizeof hex, "%08x", code.toUInt(0));
        line += "\tcode:0x";
        line += hex;
    }
    return line;
}

void LoggerBase::write(std::int32_t level, std::string const& line) {
    if (handle == nullptr)
        return;
    // Looked up at every line, once to test and once to call, as the library may change.
    if (KAVRI_LOOKUP(library, ostrana_log) == nullptr)
        return;
    KAVRI_LOOKUP(library, ostrana_log)
    (static_cast<OstranaLogger*>(handle), name.c_str(), level, line.c_str());
}

void LoggerBase::logResult(std::string const& method, std::string const& uri,
                           BridgeResult const& result) {
    bool const success = result.statusCode >= 200 && result.statusCode <= 299;
    write(success ? kLevelSuccess : kLevelFailure, resultLine(method, uri, result));
}

void LoggerBase::logEvent(std::string const& event, std::string const& message) {
    write(kLevelFailure, "event:" + event + "\tmsg:" + message);
}

TolmaLogger::TolmaLogger() : LoggerBase("Tolma") {
    if (!library.openInExportsDirectory("libostrana2_x64.so"))
        return;
    if (auto getLogger = KAVRI_LOOKUP(library, ostrana_get_logger))
        handle = getLogger();
}

TolmaLogger& TolmaLogger::Instance() {
    static TolmaLogger instance;
    return instance;
}

} // namespace kavri
