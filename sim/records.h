// What the stand-ins record of the plug-in's calls: a settled promise, a pushed event, a log line.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace sim {

// BridgeHelperSetResponse: the promise settled, its status and the answer's JSON text.
struct Response {
    std::int32_t promiseId = 0;
    std::int32_t statusCode = 0;
    std::string json;
};

// BridgeHelperDispatchEvent: the event's name and its JSON text.
struct Event {
    std::string name;
    std::string json;
};

// ostrana_log: the level, the logger's name and the line.
struct LogLine {
    std::int32_t level = 0;
    std::string name;
    std::string line;
};

inline bool operator==(Response const& a, Response const& b) {
    return a.promiseId == b.promiseId && a.statusCode == b.statusCode && a.json == b.json;
}
inline bool operator==(Event const& a, Event const& b) {
    return a.name == b.name && a.json == b.json;
}
inline bool operator==(LogLine const& a, LogLine const& b) {
    return a.level == b.level && a.name == b.name && a.line == b.line;
}
inline std::ostream& operator<<(std::ostream& out, Response const& r) {
    return out << "{promise " << r.promiseId << ", status " << r.statusCode << ", " << r.json
               << "}";
}
inline std::ostream& operator<<(std::ostream& out, Event const& e) {
    return out << "{" << e.name << ", " << e.json << "}";
}
inline std::ostream& operator<<(std::ostream& out, LogLine const& l) {
    return out << "{" << l.name << ", level " << l.level << ", " << l.line << "}";
}

} // namespace sim
