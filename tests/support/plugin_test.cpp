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
    std::vector<sim::LogLine> const lines = logging().lines();
    if (lines.size() != 1 || lines[0].name != "Tolma")
        return Answer{-1, "not one log line of Tolma", -1, ""};
    return Answer{responses[0].statusCode, responses[0].json, lines[0].level, lines[0].line};
}

void PluginTest::loadWorld(std::string const& world) {
    char const* error = SimWorldLoad(world.c_str());
    ASSERT_EQ(error, nullptr) << error;
    Answer const released = call("Screens", "delete", "{}");
    ASSERT_EQ(released.status, 200) << released;
}

} // namespace test
