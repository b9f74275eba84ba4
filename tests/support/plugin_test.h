// test::PluginTest: libtolma.so.2 opened as a host opens it, and one request at a time.
//
// A program that uses it links tolma_plugin_test, whose main() sets the exports directory (the
// build's stand-ins, with the program's replacements and absent libraries) before any test runs,
// and so before any logger first starts.
#pragma once

#include "sim/host/plugin.h"
#include "sim/host/recorded.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace test {

// The built libtolma.so.2.
std::string pluginPath();

// At namespace scope in a test program: its exports directory takes the file `name` from `file`
// (e.g. a variant built by tolma_sim_variant).
struct ReplacedInExports {
    ReplacedInExports(std::string name, std::string file);
};
// At namespace scope in a test program: its exports directory leaves out the library `name`
// (matched as sim::host::ExportsDirectory matches absent names).
struct AbsentFromExports {
    explicit AbsentFromExports(std::string name);
};

// What one request left behind: the settled promise's status and answer, and the level and text
// of the request's one log line.
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

// Expected answers. `method` is the upper-case name the log line shows, `path` the resource path
// after "/tolma/". A success: the value's JSON text, logged at level 0.
Answer ok(std::string const& method, std::string const& path, std::string const& value);
// A failure with its status, error name and message, logged at level 3.
Answer failure(std::string const& method, std::string const& path, std::int32_t status,
               std::string const& name, std::string const& message);
Answer badRequest(std::string const& method, std::string const& path, std::string const& message);
Answer internalError(std::string const& method, std::string const& path,
                     std::string const& message);
Answer notFound(std::string const& method, std::string const& path,
                std::string const& message = "screen is not found.");
Answer methodNotAllowed(std::string const& method, std::string const& path);

// The plug-in, opened and set up once per test suite and torn down and closed after it. A fixture
// that wants it per test hides SetUpTestSuite and TearDownTestSuite with empty ones and calls
// openPlugin() and closePlugin() from SetUp and TearDown.
class PluginTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { openPlugin(); }
    static void TearDownTestSuite() { closePlugin(); }

    // dlopen by path and Setup, as a host starts the plug-in (fatal failures when either fails).
    static void openPlugin();
    // TearDown and dlclose, as a host ends it; nothing when it is not open.
    static void closePlugin();
    // TearDown alone, as a host stops the plug-in before unloading it.
    static void tearDownPlugin();

    static sim::host::Plugin& plugin();
    // The logging stand-in the plug-in writes to.
    static sim::host::LoggingStandIn const& logging();

    // Forgets what the stand-ins recorded, calls the resource with {"method":METHOD} and the
    // three JSON texts, and collects the answer and the log line. Anything but exactly one answer
    // (for the promise the function returned) and one log line of the "Tolma" logger comes back
    // as status and level -1 with the reason in json.
    static Answer call(char const* resource, std::string const& method, char const* parameters,
                       char const* query = "{}", char const* body = "{}");
    // As call(), for a request that may also log events: the Tolma lines before the request's
    // own (which must be the last) come back in *eventLines, in order.
    static Answer callLoggingEvents(char const* resource, std::string const& method,
                                    char const* parameters, char const* query,
                                    char const* body, std::vector<std::string>* eventLines);

    // Loads a world (SimWorldLoad) and releases the plug-in's list of screens (Screens DELETE),
    // so that the next request lists the new world's screens.
    static void loadWorld(std::string const& world);
};

} // namespace test
