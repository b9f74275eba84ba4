// test::PluginTest: libtolma.so.2 opened as a host opens it, and one request at a time.
#include "plugin_test.h"

#include "sim/sim_control.h"

#include <utility>
#include <vector>

namespace test {

std::string pluginPath() {
    return TOLMA_PLUGIN_PATH;
}

Answer ok(std::string const& method, std::string const& path, std::string const& value) {
    return Answer{200, R"({"error":null,"value":)" + value + "}", 0,
                  "statusCode:200\tmethod:" + method + "\turi:/tolma/" + path + "\tmsg:Success"};
}

Answer failure(std::string const& method, std::string const& path, std::int32_t status,
               std::string const& name, std::string const& message) {
    return Answer{
        status,
        R"({"error":{"message":")" + message + R"(","name":")" + name + R"("},"value":null})", 3,
        "statusCode:" + std::to_string(status) + "\tmethod:" + method + "\turi:/tolma/" + path +
            "\terr:" + name + "\tmsg:" + message};
}

Answer badRequest(std::string const& method, std::string const& path, std::string const& message) {
    return failure(method, path, 400, "BadRequestError", message);
}

Answer internalError(std::string const& method, std::string const& path,
                     std::string const& message) {
    return failure(method, path, 500, "InternalError", message);
}

Answer notFound(std::string const& method, std::string const& path, std::string const& message) {
    return failure(method, path, 404, "NotFoundError", message);
}

Answer methodNotAllowed(std::string const& method, std::string const& path) {
    return failure(method, path, 405, "MethodError", method + " method is not allowed.");
}

void PluginTest::openPlugin() {
    ASSERT_TRUE(plugin().open(pluginPath())) << plugin().error();
    ASSERT_TRUE(plugin().setup()) << pluginPath() << " does not export Setup";
}

void PluginTest::closePlugin() {
    if (!plugin().isOpen())
        return;
    plugin().tearDown();
    plugin().close();
}

void PluginTest::tearDownPlugin() {
    plugin().tearDown();
}

sim::host::Plugin& PluginTest::plugin() {
    // Never destroyed: a suite that failed half-way leaves the plug-in as it is until exit.
    static sim::host::Plugin* const instance = new sim::host::Plugin;
    return *instance;
}

sim::host::LoggingStandIn const& PluginTest::logging() {
    static sim::host::LoggingStandIn const* const instance = new sim::host::LoggingStandIn;
    return *instance;
}

Answer PluginTest::call(char const* resource, std::string const& method, char const* parameters,
                        char const* query, char const* body) {
    std::vector<std::string> eventLines;
    Answer answer = callLoggingEvents(resource, method, parameters, query, body, &eventLines);
    if (answer.status != -1 && !eventLines.empty())
        return Answer{-1, "not one log line of Tolma", -1, ""};
    return answer;
}

Answer PluginTest::callLoggingEvents(char const* resource, std::string const& method,
                                     char const* parameters, char const* query, char const* body,
                                     std::vector<std::string>* eventLines) {
    sim::host::ResourceFunction const function = plugin().resource(resource);
    if (function == nullptr)
        return Answer{-1, std::string("no export ") + resource, -1, ""};
    SimPageBridgeReset();
    logging().reset();
    std::string const options = R"({"method":")" + method + R"("})";
    int const promise = function(options.c_str(), parameters, query, body);
    std::vector<sim::Response> const responses = sim::host::responses();
    if (responses.size() != 1 || responses[0].promiseId != promise)
        return Answer{-1, "not one answer for the promise", -1, ""};
    std::vector<sim::LogLine> lines = logging().lines();
    for (sim::LogLine const& line : lines)
        if (line.name != "Tolma")
            return Answer{-1, "a log line of another logger", -1, ""};
    if (lines.empty())
        return Answer{-1, "not one log line of Tolma", -1, ""};
    sim::LogLine const own = lines.back();
    lines.pop_back();
    eventLines->clear();
    for (sim::LogLine const& line : lines)
        eventLines->push_back(std::to_string(line.level) + " " + line.line);
    return Answer{responses[0].statusCode, responses[0].json, own.level, own.line};
}

void PluginTest::loadWorld(std::string const& world) {
    char const* error = SimWorldLoad(world.c_str());
    ASSERT_EQ(error, nullptr) << error;
    Answer const released = call("Screens", "delete", "{}");
    ASSERT_EQ(released.status, 200) << released;
}

} // namespace test
