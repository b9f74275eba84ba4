// The logger: finding the logging library, and the exact text of request and event lines.
#include "bridge/tolma_logger.h"

#include "fs/strings.h"
#include "platform/ostrana2.h"

#include <cinttypes>
#include <charconv>
#include <cstdio>

namespace kavri {

namespace {

constexpr std::int32_t kLevelSuccess = 0;
constexpr std::int32_t kLevelFailure = 3;

// The escape of a byte that would end or split a line's field; null for every other byte.
char const* fieldBreakEscape(char c) {
    switch (c) {
    case '\r':
        return "%0D";
    case '\n':
        return "%0A";
    case '\t':
        return "%09";
    case '\0':
        return "%00";
    default:
        return nullptr;
    }
}

} // namespace

void LoggerBase::appendEscaped(std::string& out, std::string const& text, std::size_t limit) {
    std::size_t i = 0;
    while (i < text.size()) {
        char const* escape = fieldBreakEscape(text[i]);
        // A character is its lead byte and the continuation bytes that follow it, up to the
        // length the lead byte announces; a line-break byte is never a continuation byte.
        std::size_t length = 1;
        if (escape == nullptr) {
            std::size_t const announced =
                string::utf8_sequence_length(static_cast<unsigned char>(text[i]));
            while (length < announced && i + length < text.size() &&
                   (static_cast<unsigned char>(text[i + length]) & 0xC0) == 0x80)
                ++length;
        }
        std::size_t const written = escape != nullptr ? 3 : length;
        if (limit != std::string::npos && out.size() + written > limit)
            return;
        if (escape != nullptr)
            out.append(escape, 3);
        else
            out.append(text, i, length);
        i += length;
    }
}

LoggerBase::LoggerBase(std::string loggerName) : name(std::move(loggerName)) {}

std::string LoggerBase::resultLine(std::string const& method, std::string const& uri,
                                   BridgeResult const& result) {
    bool const success = result.statusCode >= 200 && result.statusCode <= 299;
    // One buffer for the whole line: the fixed parts take 64 bytes.
    std::string line;
    line.reserve(64 + method.size() + uri.size() + result.error.name.size() +
                 result.error.message.size());
    char status[16];
    char* const statusEnd =
        std::to_chars(status, status + sizeof status, static_cast<int>(result.statusCode)).ptr;
    line += "statusCode:";
    line.append(status, static_cast<std::size_t>(statusEnd - status));
    line += "\tmethod:";
    line += method;
    line += "\turi:";
    appendEscaped(line, uri, std::string::npos);
    if (success) {
        line += "\tmsg:Success";
        return line;
    }
    line += "\terr:";
    line += result.error.name;
    line += "\tmsg:";
    line += result.error.message;
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
