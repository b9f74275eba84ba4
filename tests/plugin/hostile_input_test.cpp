// Hostile input through libtolma.so.2: paths, page text, log lines, sizes, depths and NULLs.
#include "json/parser.h"
#include "plugin_test.h"
#include "screen_worlds.h"
#include "sim/host/recorded.h"
#include "sim/host/utf8_check.h"
#include "sim/sim_control.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace test;
using screentest::worldOf;

std::string const kWorld =
    worldOf(R"([{"id":"A","bounds":{"x":0,"y":0,"width":1920,"height":1080},"primary":true,)"
            R"("profile":"/icc/a.icc","edid":{"productName":"P24","serialNumber":"123"}}])");

bool exists(std::string const& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

class HostileInput : public test::PluginTest {
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(loadWorld(kWorld)); }

    static Answer profile() {
        return call("ScreenAtIndex", "get", R"({"index":0})", R"({"profile":1})");
    }
    static Answer profileIs(std::string const& path) {
        return ok("GET", "Screens/0", "\"" + path + "\"");
    }
};

TEST_F(HostileInput, ProfilePathWithANulIsRefusedAndTouchesNoFile) {
    char dir[] = "/tmp/tolma-nul-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string const file = std::string(dir) + "/nul.icc";
    std::fclose(std::fopen(file.c_str(), "w"));
    std::string const query = R"({"profile":")" + file + R"(\u0000.keep"})";
    std::string const body = R"({"profile":"/p/a\u0000b.icc"})";
    std::string const nul = "profile must not contain a NUL character.";
    struct Row {
        char const* resource;
        char const* parameters;
        char const* uri;
    } const rows[] = {
        {"ScreenAtIndex", R"({"index":0})", "Screens/0"},
        {"ScreensForMonitor", R"({"product":"P24","serial":"123"})", "Screens/P24/123"},
        {"ScreensForPoint", R"({"point":"5x5"})", "Screens/5x5"},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(call(row.resource, "delete", row.parameters, query.c_str()),
                  badRequest("DELETE", row.uri, nul));
        EXPECT_EQ(call(row.resource, "put", row.parameters, "{}", body.c_str()),
                  badRequest("PUT", row.uri, nul));
    }
    EXPECT_TRUE(exists(file));
    EXPECT_EQ(profile(), profileIs("/icc/a.icc"));

    // The selection keeps its errors first.
    EXPECT_EQ(call("ScreenAtIndex", "delete", R"({"index":9})", query.c_str()),
              badRequest("DELETE", "Screens/9", "index is invalid."));
    EXPECT_EQ(call("ScreensForPoint", "put", R"({"point":"-5x-5"})", "{}", body.c_str()),
              notFound("PUT", "Screens/-5x-5"));
    // A path without NUL is deleted as before.
    std::string const plain = R"({"profile":")" + file + R"("})";
    EXPECT_EQ(call("ScreenAtIndex", "delete", R"({"index":0})", plain.c_str()),
              ok("DELETE", "Screens/0", "null"));
    EXPECT_FALSE(exists(file));
    rmdir(dir);
}

TEST_F(HostileInput, PageTextThatIsNotStrictUtf8IsRefusedBeforeItIsStored) {
    // Raw bytes inside a JSON string reach the handler as they are (an escaped lone surrogate
    // ends the parse, so it never does).
    struct Row {
        char const* what;
        std::string text; // inside a JSON string
    } const rows[] = {
        {"stray bytes", "/p/\xFF\xFE.icc"},
        {"encoded surrogate", "/p/\xED\xA0\x80.icc"},
        {"overlong slash", "/p/\xC0\xAF.icc"},
        {"overlong three bytes", "/p/\xE0\x80\xAF.icc"},
        {"above U+10FFFF", "/p/\xF4\x90\x80\x80.icc"},
        {"cut sequence", "/p/\xE2\x82"},
        {"continuation alone", "/p/\x80.icc"},
    };
    for (Row const& row : rows) {
        std::string const body = R"({"profile":")" + row.text + R"("})";
        EXPECT_EQ(call("ScreenAtIndex", "put", R"({"index":0})", "{}", body.c_str()),
                  badRequest("PUT", "Screens/0", "profile is not valid UTF-8."))
            << row.what;
        Answer const now = profile();
        EXPECT_EQ(now, profileIs("/icc/a.icc")) << row.what;
        EXPECT_TRUE(sim::host::IsStrictUtf8(now.json)) << row.what;
    }
    // Text outside ASCII that is valid goes through and comes back unchanged.
    std::string const valid = "/p/\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF.icc";
    std::string const body = R"({"profile":")" + valid + R"("})";
    EXPECT_EQ(call("ScreenAtIndex", "put", R"({"index":0})", "{}", body.c_str()),
              ok("PUT", "Screens/0", "null"));
    EXPECT_EQ(profile(), profileIs(valid));
}

TEST_F(HostileInput, MonitorSelectorsMustBeRepresentableText) {
    struct Row {
        char const* parameters;
        char const* uri;
        char const* message;
    } const rows[] = {
        {R"({"product":"P24\u0000x","serial":"123"})", "Screens/P24%00x/123",
         "product must not contain a NUL character."},
        {R"({"product":"P24","serial":"1\u00003"})", "Screens/P24/1%003",
         "serial must not contain a NUL character."},
        {"{\"product\":\"P\xFF\",\"serial\":\"123\"}", "Screens/P\xFF/123",
         "product is not valid UTF-8."},
        {"{\"product\":\"P24\",\"serial\":\"\xED\xB0\x80\"}", "Screens/P24/\xED\xB0\x80",
         "serial is not valid UTF-8."},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(call("ScreensForMonitor", "get", row.parameters, "{}"),
                  badRequest("GET", row.uri, row.message))
            << row.parameters;
    }
}

TEST_F(HostileInput, PageTextCannotBreakOrForgeALogLine) {
    EXPECT_EQ(call("ScreensForMonitor", "get",
                   R"({"product":"P\nstatusCode:200\tmethod:GET\turi:/tolma/forged\tmsg:Success",)"
                   R"("serial":"S\r"})"),
              notFound("GET", "Screens/P%0AstatusCode:200%09method:GET%09uri:/tolma/forged%09"
                              "msg:Success/S%0D"));
    EXPECT_EQ(call("ScreenAtIndex", "get", R"({"index":"\u00000"})"),
              badRequest("GET", "Screens/%000", "index is invalid."));
    // Selectors that are not strings are written as compact JSON, which escapes on its own.
    EXPECT_EQ(call("ScreensForPoint", "get", R"({"point":["\n"]})"),
              badRequest("GET", R"(Screens/["\n"])", "point is invalid."));
}

std::string repeat(std::string const& piece, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

TEST_F(HostileInput, LongSelectorsAreCutAtACharacterBoundaryAfterEscaping) {
    std::string const e = "\xC3\xA9"; // two bytes
    struct Row {
        std::string product; // as JSON string text
        std::string inUri;
    } const rows[] = {
        {repeat("a", 4096), repeat("a", 4096)},
        {repeat("a", 4097), repeat("a", 4096)},
        {"a" + repeat(e, 3000), "a" + repeat(e, 2047)},
        // 1364 escapes fill 4092 bytes; the next one would pass 4096, so two letters follow.
        {repeat("\\n", 1364) + "bb\\ncc", repeat("%0A", 1364) + "bb"},
    };
    for (Row const& row : rows) {
        std::string const parameters = R"({"serial":"S","product":")" + row.product + "\"}";
        EXPECT_EQ(call("ScreensForMonitor", "get", parameters.c_str()),
                  notFound("GET", "Screens/" + row.inUri + "/S"))
            << row.product.size();
    }
}

TEST_F(HostileInput, OversizedAndOverdeepArgumentsAreRefusedInTheNormalCycle) {
    std::size_t const limit = std::size_t{16} << 20;
    std::string const hugeBody = "\"" + std::string(limit - 1, 'x') + "\""; // limit + 1 bytes
    std::string const fullBody = std::string(limit - 2, ' ') + "{}";        // exactly the limit
    // The object around the index is the first level.
    std::string const deep = R"({"index":)" + std::string(999, '[') + std::string(999, ']') + "}";
    std::string const deeper =
        R"({"index":)" + std::string(1000, '[') + "0" + std::string(1000, ']') + "}";
    std::string const million = std::string(1000000, '[');
    std::string const bracketsInAString = R"({"index":0,"x":")" + std::string(5000, '[') + "\"}";
    std::string const hundredMegabytes(100u << 20, 'x');
    struct Row {
        char const* what;
        char const* method;
        char const* parameters;
        char const* query;
        char const* body;
        Answer expected;
    } const rows[] = {
        {"body one byte too large", "put", R"({"index":0})", "{}", hugeBody.c_str(),
         badRequest("PUT", "", "4th argument is too large.")},
        {"body of 100 MB", "put", R"({"index":0})", "{}", hundredMegabytes.c_str(),
         badRequest("PUT", "", "4th argument is too large.")},
        {"body at the limit", "put", R"({"index":0})", "{}", fullBody.c_str(),
         badRequest("PUT", "Screens/0", "data must contains profile or gamma.")},
        {"query of 100 MB", "get", R"({"index":0})", hundredMegabytes.c_str(), "",
         badRequest("GET", "", "3rd argument is too large.")},
        {"1000 levels", "get", deep.c_str(), "{}", "",
         badRequest("GET", "Screens/" + std::string(999, '[') + std::string(999, ']'),
                    "index is invalid.")},
        {"1001 levels", "get", deeper.c_str(), "{}", "",
         badRequest("GET", "", "2nd argument is nested too deeply.")},
        {"a million levels", "get", million.c_str(), "{}", "",
         badRequest("GET", "", "2nd argument is nested too deeply.")},
        {"brackets inside a string", "get", bracketsInAString.c_str(), R"({"profile":1})", "",
         ok("GET", "Screens/0", R"("/icc/a.icc")")},
        {"the first refused argument names the error", "get", million.c_str(),
         hundredMegabytes.c_str(), "", badRequest("GET", "", "2nd argument is nested too deeply.")},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(call("ScreenAtIndex", row.method, row.parameters, row.query, row.body),
                  row.expected)
            << row.what;
    }
}

// Whether an answer's shape matches its status: {"error":null,...} for 200, an error object with
// a name and a message otherwise, and "value" null then.
bool answerMatchesStatus(std::int32_t status, std::string const& json) {
    pocketjson::Value answer;
    pocketjson::Parser parser;
    if (!parser.parse(json, answer) || answer.type() != pocketjson::Type::Object ||
        !answer.contains("error") || !answer.contains("value"))
        return false;
    pocketjson::Value const& error = answer["error"];
    if (status == 200)
        return error.isNull();
    return error["name"].type() == pocketjson::Type::String &&
           error["message"].type() == pocketjson::Type::String && answer["value"].isNull();
}

TEST_F(HostileInput, NullArgumentsGetOneAnswerFromEveryResource) {
    char const* const methods[] = {R"({"method":"get"})", R"({"method":"put"})",
                                   R"({"method":"post"})", R"({"method":"delete"})"};
    std::size_t calls = 0;
    for (std::string const& resource : sim::host::resourceNames()) {
        sim::host::ResourceFunction function = plugin().resource(resource);
        ASSERT_NE(function, nullptr) << resource;
        for (char const* method : methods) {
            for (unsigned mask = 0; mask < 16; ++mask) {
                char const* a[4] = {method, R"({"index":0,"point":"1x1"})", "{}", "{}"};
                for (unsigned i = 0; i < 4; ++i)
                    a[i] = (mask >> i) & 1 ? nullptr : a[i];
                SimPageBridgeReset();
                SimOstranaReset();
                int const promise = function(a[0], a[1], a[2], a[3]);
                std::vector<sim::Response> const answers = sim::host::responses();
                std::vector<sim::LogLine> const lines = sim::host::logLines();
                ASSERT_EQ(answers.size(), 1u) << resource << " " << method << " " << mask;
                EXPECT_EQ(answers[0].promiseId, promise);
                EXPECT_TRUE(answerMatchesStatus(answers[0].statusCode, answers[0].json))
                    << resource << " " << answers[0].statusCode << " " << answers[0].json;
                // A PUT of DeviceNotification also logs the device changes it found.
                std::size_t requestLines = 0;
                for (sim::LogLine const& line : lines)
                    requestLines += line.line.rfind("event:", 0) == 0 ? 0u : 1u;
                EXPECT_EQ(requestLines, 1u) << resource << " " << method << " " << mask;
                EXPECT_EQ(SimPageBridgeViolationCount(), 0u);
                ++calls;
            }
        }
    }
    EXPECT_EQ(calls, 19u * 4u * 16u);
}

} // namespace
