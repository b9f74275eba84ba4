// libtolma.so.2 opened as a host opens it, and one resource call with its answer and log line.
#pragma once

#include "plugin_library.h"
#include "sim/sim_control.h"

#include <cstdint>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace screentest {

// What one request left behind: the settled promise and the one log line of the request.
struct Answer {
    std::int32_t status = 0;
    std::string json;
    std::int32_t level = 0;
    std::string line;
};

inline bool operator==(Answer const& a, Answer const& b) {
    return a.status == b.status && a.json == b.json && a.level == b.level && a.line == b.line;
}
inline std::ostream& operator<<(std::ostream& out, Answer const& a) {
    return out << "\n  status " << a.status << "\n  " << a.json << "\n  level " << a.level << "\n  "
               << a.line;
}

// A success: the value's JSON text, logged at level 0.
inline Answer ok(std::string const& method, std::string const& path, std::string const& value) {
    return Answer{200, R"({"error":null,"value":)" + value + "}", 0,
                  "statusCode:200\tmethod:" + method + "\turi:/tolma/" + path + "\tmsg:Success"};
}

// A failure with its status, error name and message, logged at level 3.
inline Answer failure(std::string const& method, std::string const& path, std::int32_t status,
                      std::string const& name, std::string const& message) {
    return Answer{
        status,
        R"({"error":{"message":")" + message + R"(","name":")" + name + R"("},"value":null})", 3,
        "statusCode:" + std::to_string(status) + "\tmethod:" + method + "\turi:/tolma/" + path +
            "\terr:" + name + "\tmsg:" + message};
}
inline Answer badRequest(std::string const& method, std::string const& path,
                         std::string const& message) {
    return failure(method, path, 400, "BadRequestError", message);
}
inline Answer internalError(std::string const& method, std::string const& path,
                            std::string const& message) {
    return failure(method, path, 500, "InternalError", message);
}
inline Answer notFound(std::string const& method, std::string const& path) {
    return failure(method, path, 404, "NotFoundError", "screen is not found.");
}

// The plug-in, opened once per test suite, with Setup and TearDown called as a host calls them.
class PluginTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(plugin_.open(TOLMA_PLUGIN_PATH)) << plugin_.error();
        ASSERT_TRUE(plugin_.setup());
    }
    static void TearDownTestSuite() {
        if (!plugin_.isOpen())
            return;
        tearDownPlugin();
        plugin_.close();
    }

    static void tearDownPlugin() { plugin_.tearDown(); }

    // Calls the resource with the method and the three JSON arguments and collects what the host
    // recorded; anything but exactly one answer (for the promise handed out) and one log line is
    // reported in the result's json field.
    static Answer call(char const* resource, std::string const& method, char const* parameters,
                       char const* query = "{}", char const* body = "{}") {
        test::ResourceFunction function = plugin_.resource(resource);
        if (function == nullptr)
            return Answer{-1, std::string("no export ") + resource, -1, ""};
        SimPageBridgeReset();
        SimOstranaReset();
        std::string const options = R"({"method":")" + method + R"("})";
        int const promise = function(options.c_str(), parameters, query, body);
        Answer answer;
        std::int32_t promiseSeen = 0;
        char const* json = nullptr;
        if (SimPageBridgeResponseCount() != 1 ||
            SimPageBridgeResponseAt(0, &promiseSeen, &answer.status, &json) != 0 ||
            promiseSeen != promise)
            return Answer{-1, "not one answer for the promise", -1, ""};
        answer.json = json;
        char const* name = nullptr;
        char const* line = nullptr;
        if (SimOstranaLineCount() != 1 || SimOstranaLineAt(0, &answer.level, &name, &line) != 0 ||
            std::string(name) != "Tolma")
            return Answer{-1, "not one log line of Tolma", -1, ""};
        answer.line = line;
        return answer;
    }

    // Loads a world and releases the library's list, so that the next request lists the new
    // world's screens.
    static void loadWorld(std::string const& world) {
        char const* error = SimWorldLoad(world.c_str());
        ASSERT_EQ(error, nullptr) << error;
        Answer const released = call("Screens", "delete", "{}");
        ASSERT_EQ(released.status, 200) << released;
    }

    static inline test::PluginLibrary plugin_;
};

} // namespace screentest
