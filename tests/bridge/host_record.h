// What the simulated host recorded: settled promises and log lines, read for the bridge tests.
#pragma once

#include "json/parser.h"
#include "sim/sim_control.h"

#include <cstdint>
#include <string>
#include <vector>

namespace test {

struct Response {
    std::int32_t promise = 0;
    std::int32_t status = 0;
    std::string text;
};

struct LogLine {
    std::int32_t level = 0;
    std::string name;
    std::string line;
};

inline void resetHost() {
    SimPageBridgeReset();
}
inline void resetLog() {
    SimOstranaReset();
}

inline std::vector<Response> responses() {
    std::vector<Response> all;
    for (std::size_t i = 0; i < SimPageBridgeResponseCount(); ++i) {
        Response r;
        char const* text = nullptr;
        if (SimPageBridgeResponseAt(i, &r.promise, &r.status, &text) == 0) {
            r.text = text ? text : "";
            all.push_back(r);
        }
    }
    return all;
}

inline std::vector<LogLine> logLines() {
    std::vector<LogLine> all;
    for (std::size_t i = 0; i < SimOstranaLineCount(); ++i) {
        LogLine l;
        char const* name = nullptr;
        char const* line = nullptr;
        if (SimOstranaLineAt(i, &l.level, &name, &line) == 0) {
            l.name = name ? name : "";
            l.line = line ? line : "";
            all.push_back(l);
        }
    }
    return all;
}

inline pocketjson::Value parseValue(char const* text) {
    pocketjson::Value v;
    pocketjson::Parser parser;
    parser.parse(text, v);
    return v;
}

} // namespace test
