// kavri::LoggerBase and kavri::TolmaLogger: request and event lines for the host's log service.
#pragma once

#include "bridge/bridge_result.h"
#include "loader/dynamic_library.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace kavri {

// Writes through the logging library in the host's exports directory. When the library, its
// logger or its log function is missing, logging is silently off and nothing else changes.
class LoggerBase {
public:
    explicit LoggerBase(std::string loggerName);
    virtual ~LoggerBase() = default;

    // "statusCode:S\tmethod:M\turi:U" then "\tmsg:Success" (level 0, status 200-299) or
    // "\terr:N\tmsg:T" and, for a numeric detail member "code", "\tcode:0x%08x" (level 3).
    void logResult(std::string const& method, std::string const& uri, BridgeResult const& result);
    // "event:E\tmsg:T" at level 3.
    void logEvent(std::string const& event, std::string const& message);

    // The text of a request line, without delivering it. The uri is written through appendEscaped.
    static std::string resultLine(std::string const& method, std::string const& uri,
                                  BridgeResult const& result);

    // Appends page text as it may stand in a line: CR, LF, TAB and NUL written as %0D, %0A, %09
    // and %00, so that one request is always one line of its own fields; every other byte stays.
    // Only whole characters of `text` (a UTF-8 sequence, or one byte that starts none) are
    // appended while `out` stays within `limit` bytes (npos: no limit).
    static void appendEscaped(std::string& out, std::string const& text, std::size_t limit);

    std::string const name;

protected:
    void write(std::int32_t level, std::string const& line);

    DynamicLibrary library;
    void* handle = nullptr; // the library's logger object; null while logging is off
};

class TolmaLogger final : public LoggerBase {
public:
    // The process-wide logger, set up on first use; a failed start is not retried.
    static TolmaLogger& Instance();

private:
    TolmaLogger();
};

} // namespace kavri
