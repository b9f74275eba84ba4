// The request cycle: method selection, argument forms, answers, errors, guards and the log line.
#include "bridge/bridge.h"
#include "bridge/tolma_logger.h"
#include "json/parser.h"
#include "json/serializer.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <cmath>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using pocketjson::Value;
using sim::Response;

// Answers every method with the method's name and the request record as it arrived.
class EchoResource : public kavri::Bridge {
public:
    BridgeResult Get(BridgeData const& d) override { return echo("get", d); }
    BridgeResult Put(BridgeData const& d) override { return echo("put", d); }
    BridgeResult Post(BridgeData const& d) override { return echo("post", d); }
    BridgeResult Delete(BridgeData const& d) override { return echo("delete", d); }

private:
    BridgeResult echo(char const* method, BridgeData const& d) {
        uri += "Echo";
        Value v(pocketjson::Type::Object);
        v["method"] = Value(method);
        v["options"] = d.options;
        v["parameters"] = d.parameters;
        v["query"] = d.query;
        v["body"] = d.body;
        return BridgeResultOK(v);
    }
};

// Runs `behaviour` as the GET handler.
template <typename Behaviour>
class ScriptedResource : public kavri::Bridge {
public:
    BridgeResult Get(BridgeData const&) override {
        uri += "Scripted";
        return Behaviour::run();
    }
};

Response call(int (*serve)(char const*, char const*, char const*, char const*),
              char const* a1 = "{}", char const* a2 = "{}", char const* a3 = "{}",
              char const* a4 = "") {
    SimPageBridgeReset();
    int const promise = serve(a1, a2, a3, a4);
    std::vector<Response> responses = sim::host::responses();
    EXPECT_EQ(responses.size(), 1u) << "exactly one settled promise per request";
    if (responses.empty())
        return Response{};
    EXPECT_EQ(responses[0].promiseId, promise) << "the returned id is the settled one";
    return responses[0];
}

Value valueOf(Response const& r) {
    auto parsed = pocketjson::Value();
    pocketjson::Parser parser;
    EXPECT_TRUE(parser.parse(r.json, parsed)) << r.json;
    return parsed["value"];
}

Value parseValue(char const* text) {
    Value v;
    pocketjson::Parser parser;
    parser.parse(text, v);
    return v;
}

TEST(RequestMethod, SelectedCaseInsensitivelyFromTheOptionsMember) {
    struct Case {
        char const* options;
        char const* method;
    } const cases[] = {
        {R"({"method":"DELETE"})", "delete"},
        {R"({"method":"Delete"})", "delete"},
        {R"({"method":"put"})", "put"},
        {R"({"method":"POST"})", "post"},
        {R"({"method":"get"})", "get"},
        {R"({"method":"Remove"})", "get"},
        {R"({"method":" delete"})", "get"},
        {R"({"method":1})", "get"},
        {R"({"method":true})", "get"},
        {R"({"method":null})", "get"},
        {R"({"method":["put"]})", "get"},
        {"{}", "get"},
        {R"(["delete"])", "get"},
        {"not json", "get"},
        {"", "get"},
        {R"({"method":"put"} trailing)", "put"},
    };
    for (auto const& c : cases) {
        Response r = call(Serve<EchoResource>, c.options);
        EXPECT_EQ(r.statusCode, 200) << c.options;
        EXPECT_EQ(valueOf(r)["method"].stringValue(), c.method) << c.options;
    }
    Response nullOptions = call(Serve<EchoResource>, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(valueOf(nullOptions)["method"].stringValue(), "get");
}

TEST(RequestArguments, BodyThatIsNotJsonArrivesAsText) {
    struct Case {
        char const* body;
        char const* expected;
    } const cases[] = {
        {"abc", R"("abc")"},   {R"("abc")", R"("abc")"}, {"", "null"},
        {"null", R"("null")"}, {"[1,2] x", "[1,2]"},     {R"({"k":[true]})", R"({"k":[true]})"},
    };
    for (auto const& c : cases) {
        Response r = call(Serve<EchoResource>, "{}", "{}", "{}", c.body);
        std::string written;
        pocketjson::Serializer::serialize(written, valueOf(r)["body"]);
        EXPECT_EQ(written, c.expected) << c.body;
    }
}

TEST(RequestArguments, MalformedParametersKeepWhatWasParsed) {
    Response r = call(Serve<EchoResource>, "{}", "[1,2] x", "{\"a\":");
    Value v = valueOf(r);
    std::string parameters, query;
    pocketjson::Serializer::serialize(parameters, v["parameters"]);
    pocketjson::Serializer::serialize(query, v["query"]);
    EXPECT_EQ(parameters, "[1,2]");
    EXPECT_EQ(query, "{}");
    EXPECT_EQ(r.statusCode, 200);
}

struct ReturnsNull {
    static BridgeResult run() { return BridgeResultOK(Value()); }
};
struct ThrowsDetailedError {
    static BridgeResult run() {
        BridgeResultError error(BridgeStatusNotFound, "NotFoundError", "screen is not found.");
        error.error.detail["code"] = Value(5);
        error.error.detail["extra"] = Value("x");
        throw error;
    }
};
struct ThrowsBadRequest {
    static BridgeResult run() {
        BridgeCheckRequestCondition(true, "never");
        BridgeCheckError(true, "never");
        BridgeCheckRequestCondition(false, "index is invalid.");
        return BridgeResultOK(Value(1));
    }
};
struct ThrowsInternal {
    static BridgeResult run() {
        BridgeCheckError(false, "Failed to get screen profile.");
        return BridgeResultOK(Value(1));
    }
};
struct ThrowsStandardException {
    static BridgeResult run() { throw std::runtime_error("lost text"); }
};
struct ThrowsBadAlloc {
    static BridgeResult run() { throw std::bad_alloc(); }
};
struct ThrowsInteger {
    static BridgeResult run() { throw 7; }
};
struct ReturnsDetailOnly {
    static BridgeResult run() {
        BridgeResult result;
        result.statusCode = BridgeStatusOK;
        result.error.detail = Value("a detail text counts as an error");
        return result;
    }
};
struct ReturnsEmptyDetail {
    static BridgeResult run() {
        BridgeResult result;
        result.statusCode = BridgeStatusOK;
        result.error.detail = Value(pocketjson::Type::Array);
        result.value = Value(3);
        return result;
    }
};
struct ReturnsNan {
    static BridgeResult run() { return BridgeResultOK(Value(std::nan(""))); }
};

constexpr char kUnknown[] =
    R"({"error":{"message":"Unknown error occurred.","name":"UnknownError"},"value":null})";

TEST(RequestAnswer, ResultsAndErrorsBecomeTheAnswerText) {
    struct Case {
        char const* name;
        int (*serve)(char const*, char const*, char const*, char const*);
        int status;
        char const* text;
    } const cases[] = {
        {"null success", Serve<ScriptedResource<ReturnsNull>>, 200,
         R"({"error":null,"value":null})"},
        {"detailed error", Serve<ScriptedResource<ThrowsDetailedError>>, 404,
         R"({"error":{"code":5,"extra":"x","message":"screen is not found.","name":"NotFoundError"},"value":null})"},
        {"request check", Serve<ScriptedResource<ThrowsBadRequest>>, 400,
         R"({"error":{"message":"index is invalid.","name":"BadRequestError"},"value":null})"},
        {"system check", Serve<ScriptedResource<ThrowsInternal>>, 500,
         R"({"error":{"message":"Failed to get screen profile.","name":"InternalError"},"value":null})"},
        {"standard exception", Serve<ScriptedResource<ThrowsStandardException>>, 500, kUnknown},
        {"out of memory", Serve<ScriptedResource<ThrowsBadAlloc>>, 500, kUnknown},
        {"foreign exception", Serve<ScriptedResource<ThrowsInteger>>, 500, kUnknown},
        {"detail only", Serve<ScriptedResource<ReturnsDetailOnly>>, 200,
         R"({"error":{"message":"","name":""},"value":null})"},
        {"empty detail", Serve<ScriptedResource<ReturnsEmptyDetail>>, 200,
         R"({"error":null,"value":3})"},
        {"unwritable value", Serve<ScriptedResource<ReturnsNan>>, 500, kUnknown},
    };
    for (auto const& c : cases) {
        Response r = call(c.serve);
        EXPECT_EQ(r.statusCode, c.status) << c.name;
        EXPECT_EQ(r.json, c.text) << c.name;
    }
}

TEST(RequestAnswer, DetailWithAStringBecomesAnObjectHoldingNameAndMessage) {
    struct Throws {
        static BridgeResult run() {
            BridgeResultError error(BridgeStatusInternalError, "InternalError", "m.");
            error.error.detail = Value(pocketjson::Type::Array);
            error.error.detail.push_back(Value(1));
            throw error;
        }
    };
    Response r = call(Serve<ScriptedResource<Throws>>);
    EXPECT_EQ(r.json, R"({"error":{"message":"m.","name":"InternalError"},"value":null})");
}

// Failures outside the handler's protection still settle the promise exactly once.
class BeginThrows : public kavri::Bridge {
public:
    void onBeginBridge(BridgeData const&) override { throw std::runtime_error("hook"); }
};
class EndThrows : public kavri::Bridge {
public:
    void onEndBridge(BridgeData const&, BridgeResult const&) override { throw std::bad_alloc(); }
};
class ConstructorThrows : public kavri::Bridge {
public:
    ConstructorThrows() { throw std::bad_alloc(); }
};

TEST(RequestGuard, FailuresOutsideHandlersSettleOnePromiseWith500) {
    for (auto serve : {Serve<BeginThrows>, Serve<EndThrows>, Serve<ConstructorThrows>}) {
        Response r = call(serve);
        EXPECT_EQ(r.statusCode, 500);
        EXPECT_EQ(r.json, kUnknown);
    }
}

TEST(RequestLog, OneLinePerRequestWithItsLevel) {
    struct Case {
        int (*serve)(char const*, char const*, char const*, char const*);
        char const* options;
        int level;
        char const* line;
    } const cases[] = {
        {Serve<EchoResource>, R"({"method":"post"})", 0,
         "statusCode:200\tmethod:POST\turi:/tolma/Echo\tmsg:Success"},
        {Serve<EchoResource>, R"({"method":"remove"})", 0,
         "statusCode:200\tmethod:GET\turi:/tolma/Echo\tmsg:Success"},
        {Serve<kavri::Bridge>, R"({"method":"Put"})", 3,
         "statusCode:405\tmethod:PUT\turi:/tolma/\terr:MethodError\tmsg:PUT method is not "
         "allowed."},
        {Serve<ScriptedResource<ThrowsDetailedError>>, "{}", 3,
         "statusCode:404\tmethod:GET\turi:/tolma/Scripted\terr:NotFoundError\tmsg:screen is not "
         "found.\tcode:0x00000005"},
    };
    for (auto const& c : cases) {
        SimOstranaReset();
        call(c.serve, c.options);
        std::vector<sim::LogLine> lines = sim::host::logLines();
        ASSERT_EQ(lines.size(), 1u) << c.line;
        EXPECT_EQ(lines[0].name, "Tolma");
        EXPECT_EQ(lines[0].level, c.level) << c.line;
        EXPECT_EQ(lines[0].line, c.line);
    }
}

TEST(RequestLog, EventLinesAtLevelThree) {
    SimOstranaReset();
    kavri::TolmaLogger::Instance().logEvent("screenChanged", "2 screens");
    std::vector<sim::LogLine> lines = sim::host::logLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, 3);
    EXPECT_EQ(lines[0].line, "event:screenChanged\tmsg:2 screens");
}

TEST(RequestLog, SuccessRangeAndErrorCodeText) {
    struct Case {
        int status;
        Value detail;
        char const* tail;
    } const cases[] = {
        {299, Value(), "\tmsg:Success"},
        {200, Value(), "\tmsg:Success"},
        {300, Value(), "\terr:E\tmsg:M"},
        {0, Value(), "\terr:E\tmsg:M"},
        {199, Value(), "\terr:E\tmsg:M"},
        {500, parseValue(R"({"code":42})"), "\terr:E\tmsg:M\tcode:0x0000002a"},
        {500, parseValue(R"({"code":41.6})"), "\terr:E\tmsg:M\tcode:0x0000002a"},
        {500, parseValue(R"({"code":-1})"), "\terr:E\tmsg:M\tcode:0x00000000"},
        {500, parseValue(R"({"code":4294967295})"), "\terr:E\tmsg:M\tcode:0xffffffff"},
        {500, parseValue(R"({"code":4294967296})"), "\terr:E\tmsg:M\tcode:0x00000000"},
        {500, parseValue(R"({"code":"42"})"), "\terr:E\tmsg:M"},
        {500, parseValue(R"([42])"), "\terr:E\tmsg:M"},
    };
    for (auto const& c : cases) {
        BridgeResult result;
        result.statusCode = static_cast<BridgeStatusCode>(c.status);
        result.error.detail = c.detail;
        if (c.status < 200 || c.status > 299) {
            result.error.name = "E";
            result.error.message = "M";
        }
        std::string const expected =
            "statusCode:" + std::to_string(c.status) + "\tmethod:DELETE\turi:/u" + c.tail;
        EXPECT_EQ(kavri::LoggerBase::resultLine("DELETE", "/u", result), expected);
    }
}

// Serves PUT only; the other three operations are BridgeTemplate's.
class PutOnlyResource : public kavri::Bridge {
public:
    BridgeResult Put(BridgeData const&) override {
        uri += "PutOnly";
        return BridgeResultOK(Value(true));
    }
};

// Serves GET and DELETE through an intermediate class that serves GET.
class GetResource : public kavri::Bridge {
public:
    BridgeResult Get(BridgeData const&) override { return BridgeResultOK(Value(1)); }
};
class GetDeleteResource : public GetResource {
public:
    BridgeResult Delete(BridgeData const&) override { return BridgeResultOK(Value(2)); }
};

TEST(RequestMethod, DefaultOperationsAreFoundFromTheResourceType) {
    struct Case {
        char const* what;
        unsigned found;
        unsigned expected;
    } const cases[] = {
        {"kavri::Bridge", BridgeDefaultMethods<kavri::Bridge>(),
         kBridgeGet | kBridgePut | kBridgePost | kBridgeDelete},
        {"EchoResource", BridgeDefaultMethods<EchoResource>(), 0u},
        {"PutOnlyResource", BridgeDefaultMethods<PutOnlyResource>(),
         kBridgeGet | kBridgePost | kBridgeDelete},
        {"GetResource", BridgeDefaultMethods<GetResource>(),
         kBridgePut | kBridgePost | kBridgeDelete},
        {"GetDeleteResource", BridgeDefaultMethods<GetDeleteResource>(), kBridgePut | kBridgePost},
    };
    for (auto const& c : cases)
        EXPECT_EQ(c.found, c.expected) << c.what;
}

// What one request left with the stand-ins: the answer and the one log line.
struct Outcome {
    Response response;
    std::vector<sim::LogLine> lines;
};

template <typename Run>
Outcome outcomeOf(Run run) {
    SimPageBridgeReset();
    SimOstranaReset();
    run();
    return Outcome{sim::host::responses().empty() ? Response{} : sim::host::responses()[0],
                   sim::host::logLines()};
}

// A 405 answered by the request cycle is byte for byte the one the default operation throws:
// Serve() answers it directly, a resource object called without Serve() calls the operation.
TEST(RequestMethod, MethodNotServedAnswersAsTheDefaultOperationThrows) {
    char const* const options[] = {
        R"({"method":"get"})",    R"({"method":"GET"})",  R"({"method":"post"})",
        R"({"method":"Delete"})", R"({"method":"put"})",  R"({"method":"remove"})",
        "{}",                     "not json",             R"({"method":true})",
    };
    char const* const bodies[] = {"", "{}", "text", R"({"gamma":[1,2]})"};
    int refused = 0;
    for (char const* o : options) {
        for (char const* body : bodies) {
            Outcome const fast = outcomeOf([&] { Serve<PutOnlyResource>(o, "{}", "{}", body); });
            Outcome const thrown = outcomeOf([&] {
                PutOnlyResource resource;
                resource(o, "{}", "{}", body);
            });
            ASSERT_EQ(fast.lines.size(), 1u) << o;
            ASSERT_EQ(thrown.lines.size(), 1u) << o;
            EXPECT_EQ(fast.response.statusCode, thrown.response.statusCode) << o;
            EXPECT_EQ(fast.response.json, thrown.response.json) << o;
            EXPECT_EQ(fast.lines[0].level, thrown.lines[0].level) << o;
            EXPECT_EQ(fast.lines[0].line, thrown.lines[0].line) << o;
            refused += fast.response.statusCode == 405 ? 1 : 0;
        }
    }
    // Every options text but {"method":"put"} selects a method the resource does not serve.
    EXPECT_EQ(refused, 8 * 4);
}

TEST(RequestMethod, ArgumentRefusalComesBeforeTheMethodRefusal) {
    std::string const deep(kMaxArgumentDepth + 1, '[');
    Response r = call(Serve<PutOnlyResource>, R"({"method":"get"})", deep.c_str());
    EXPECT_EQ(r.statusCode, 400);
    EXPECT_EQ(r.json, R"({"error":{"message":"2nd argument is nested too deeply.",)"
                      R"("name":"BadRequestError"},"value":null})");
}

// Arrays and objects count together towards the depth; brackets that open and close again, or
// stand inside a string, do not add to it however many there are.
TEST(RequestMethod, DepthLimitCountsOpenArraysAndObjectsTogether) {
    auto repeat = [](std::string const& unit, std::size_t times) {
        std::string text;
        for (std::size_t i = 0; i < times; ++i)
            text += unit;
        return text;
    };
    std::size_t const half = kMaxArgumentDepth / 2;
    struct Case {
        char const* what;
        std::string text;
        bool refused;
    } const cases[] = {
        {"arrays and objects at the limit", repeat("[{", half), false},
        {"arrays and objects one past it", repeat("[{", half) + "[", true},
        {"objects one past it", repeat("{", kMaxArgumentDepth + 1), true},
        {"objects after arrays, one past it", repeat("[", half) + repeat("{", half + 1), true},
        {"many closed arrays", repeat("[]", 3 * kMaxArgumentDepth), false},
        {"many closed objects inside arrays just below the limit",
         repeat("[", kMaxArgumentDepth - 1) + repeat("{}", kMaxArgumentDepth), false},
        {"many closed objects inside arrays at the limit",
         repeat("[", kMaxArgumentDepth) + repeat("{}", kMaxArgumentDepth), true},
        {"brackets in a string", "[\"" + repeat("[{", kMaxArgumentDepth) + "\"]", false},
        {"an escaped quote keeps the string open",
         "[\"\\\"" + repeat("[", kMaxArgumentDepth + 1) + "\"]", false},
    };
    for (Case const& c : cases) {
        Response r = call(Serve<PutOnlyResource>, R"({"method":"get"})", c.text.c_str());
        EXPECT_EQ(r.statusCode, c.refused ? 400 : 405) << c.what;
    }
}

TEST(RequestMethod, MethodNotAllowedNamesEachMethod) {
    struct Case {
        unsigned method;
        char const* message;
    } const cases[] = {
        {kBridgeGet, "GET method is not allowed."},
        {kBridgePut, "PUT method is not allowed."},
        {kBridgePost, "POST method is not allowed."},
        {kBridgeDelete, "DELETE method is not allowed."},
    };
    for (auto const& c : cases) {
        BridgeResultError const e = BridgeTemplate::methodNotAllowed(c.method);
        EXPECT_EQ(e.statusCode, BridgeStatusMethodNotAllowed);
        EXPECT_EQ(e.error.name, "MethodError");
        EXPECT_EQ(e.error.message, c.message);
        EXPECT_TRUE(e.value.isNull());
    }
}

// The answer as an object tree would give it: {"error": detail with name and message set, or
// null; "value": the value}, written by the serializer.
std::string treeAnswer(BridgeResult const& result) {
    Value answer(pocketjson::Type::Object);
    if (result.isError()) {
        Value& error = answer["error"];
        error = result.error.detail;
        error["name"] = Value(result.error.name);
        error["message"] = Value(result.error.message);
    } else {
        answer["error"] = Value();
    }
    answer["value"] = result.value;
    std::string text;
    pocketjson::Serializer::serialize(text, answer);
    return text;
}

TEST(RequestAnswer, TextEqualsTheAnswerTreeWritten) {
    struct Case {
        char const* name;
        char const* message;
        char const* detail;
        char const* value;
    } const cases[] = {
        {"", "", "null", "null"},
        {"", "", "null", R"({"b":[1,2.5,"x"],"a":true})"},
        {"", "", "[]", "0.10000000000000001"},
        {"", "", "{}", R"("text")"},
        {"MethodError", "GET method is not allowed.", "null", "null"},
        {"E", "quote \" and tab \t", "null", "[1]"},
        {"E", "", R"({"code":5,"extra":"x","name":"old"})", "null"},
        {"", "", R"({"code":5})", "null"},
        {"", "", R"("detail text")", "null"},
        {"", "", R"([1,2])", "null"},
        {"E", "M", "7", R"({"k":null})"},
        {"E\u0001", "M\u007f", R"({"message":"m","z":[]})", "false"},
    };
    for (auto const& c : cases) {
        BridgeResult result;
        result.statusCode = BridgeStatusOK;
        result.error.name = parseValue((std::string("\"") + c.name + "\"").c_str()).stringValue();
        result.error.message =
            parseValue((std::string("\"") + c.message + "\"").c_str()).stringValue();
        result.error.detail = parseValue(c.detail);
        result.value = parseValue(c.value);
        std::string text = "left over";
        ASSERT_TRUE(BridgeTemplate::answerText(result, text)) << c.detail;
        EXPECT_EQ(text, treeAnswer(result)) << c.name << " " << c.detail << " " << c.value;
    }
}

TEST(RequestAnswer, ValueThatCannotBeWrittenFailsTheText) {
    for (bool error : {false, true}) {
        BridgeResult result;
        if (error)
            result.error.detail = parseValue(R"({"d":1})");
        result.value = Value(std::nan(""));
        std::string text;
        EXPECT_FALSE(BridgeTemplate::answerText(result, text));
        result.error.detail = Value();
        result.value = Value(pocketjson::Type::Array);
        result.value.push_back(Value(HUGE_VAL));
        EXPECT_FALSE(BridgeTemplate::answerText(result, text));
    }
}

} // namespace
