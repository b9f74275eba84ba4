// Cost of one request through libtolma.so.2 as a host calls it, beside the same request written
// straightforwardly on RapidJSON and on nlohmann::json, and beside an earlier build of the plug-in.
//
// Each round runs in a fresh child process per plug-in build: it opens the plug-in with dlopen
// (the stand-ins' folder as its exports directory), loads the row's world and times batches of
// calls with the thread's CPU clock; what the stand-ins recorded is dropped between batches,
// outside the timing. Rounds alternate the builds, so each ratio is taken within one round and
// the medians of those ratios are reported. The peers parse the same four arguments, read the
// same simulated libraries, build the same answer, write it and the same log line, and hand both
// to the same stand-ins.
#include "platform/ostrana2.h"
#include "platform/pagebridge.h"
#include "platform/scrinfo2.h"
#include "sim/host/exports_directory.h"
#include "sim/host/plugin.h"
#include "sim/sim_control.h"

#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <vector>

// Every C++ allocation of the process, the plug-in's included (the replaceable global operator
// new wins over the one libstdc++ exports).
namespace {
std::atomic<std::uint64_t> g_allocations{0};
}

void* operator new(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, std::nothrow_t const& tag) noexcept {
    return operator new(size, tag);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}

namespace {

using Call = std::function<void()>;

double threadCpuNanoseconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

void resetStandIns() {
    SimPageBridgeReset();
    SimOstranaReset();
}

// The last answer and log line the stand-ins recorded.
struct Recorded {
    int status = 0;
    std::string answer;
    int level = 0;
    std::string line;
};

Recorded lastRecorded() {
    Recorded r;
    if (std::size_t n = SimPageBridgeResponseCount()) {
        std::int32_t promise = 0, status = 0;
        char const* json = nullptr;
        SimPageBridgeResponseAt(n - 1, &promise, &status, &json);
        r.status = status;
        r.answer = json ? json : "";
    }
    if (std::size_t n = SimOstranaLineCount()) {
        std::int32_t level = 0;
        char const* name = nullptr;
        char const* line = nullptr;
        SimOstranaLineAt(n - 1, &level, &name, &line);
        r.level = level;
        r.line = line ? line : "";
    }
    return r;
}

// ---------------------------------------------------------------------------------------------
// The peers: one request written straightforwardly, on RapidJSON and on nlohmann::json.

OstranaLogger* peerLogger() {
    static OstranaLogger* const logger = ostrana_get_logger();
    return logger;
}

std::string lowerMethod(char const* text) {
    std::string m = text;
    for (char& c : m)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return m;
}

std::string logLine(int status, char const* method, std::string const& uri, char const* name,
                    char const* message) {
    std::string line = "statusCode:" + std::to_string(status) + "\tmethod:" + method + "\turi:" + uri;
    if (status >= 200 && status <= 299)
        line += "\tmsg:Success";
    else
        line += std::string("\terr:") + name + "\tmsg:" + message;
    return line;
}

void settle(int promise, int status, char const* answer, std::string const& line) {
    ostrana_log(peerLogger(), "Tolma", status == 200 ? 0 : 3, line.c_str());
    BridgeHelperSetResponse(promise, status, answer);
}

namespace rj {

using rapidjson::Document;
using rapidjson::Value;

struct Request {
    Document options, parameters, query, body;
    std::string method = "get";
};

void parseArguments(Request& r, char const* a1, char const* a2, char const* a3, char const* a4) {
    r.options.Parse(a1);
    r.parameters.Parse(a2);
    r.query.Parse(a3);
    r.body.Parse(a4);
    if ((r.body.HasParseError() || r.body.IsNull()) && *a4 != '\0')
        r.body.SetString(a4, r.body.GetAllocator());
    if (!r.options.HasParseError() && r.options.IsObject()) {
        auto m = r.options.FindMember("method");
        if (m != r.options.MemberEnd() && m->value.IsString())
            r.method = lowerMethod(m->value.GetString());
    }
}

// {"error":null,"value":V} or the error answer, written compactly.
template <typename Build>
void answer(int promise, int status, char const* method, std::string const& uri, Build build,
            char const* name = nullptr, char const* message = nullptr) {
    Document answer(rapidjson::kObjectType);
    auto& a = answer.GetAllocator();
    if (status == 200) {
        answer.AddMember("error", Value(), a);
        Value v;
        build(v, a);
        answer.AddMember("value", v, a);
    } else {
        Value error(rapidjson::kObjectType);
        error.AddMember("message", Value(message, a), a);
        error.AddMember("name", Value(name, a), a);
        answer.AddMember("error", error, a);
        answer.AddMember("value", Value(), a);
    }
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    answer.Accept(writer);
    settle(promise, status, buffer.GetString(), logLine(status, method, uri, name, message));
}

using Alloc = Document::AllocatorType;

Value size(MiSize s, Alloc& a) {
    Value v(rapidjson::kObjectType);
    v.AddMember("height", s.height, a).AddMember("width", s.width, a);
    return v;
}

Value xy(double x, double y, Alloc& a) {
    Value v(rapidjson::kObjectType);
    v.AddMember("x", x, a).AddMember("y", y, a);
    return v;
}

void description(MiScreen* s, Value& v, Alloc& a) {
    v.SetObject();
    MiRect const b = MiGetScreenBounds(s);
    Value bounds(rapidjson::kObjectType);
    bounds.AddMember("height", b.height, a).AddMember("width", b.width, a);
    bounds.AddMember("x", b.x, a).AddMember("y", b.y, a);
    v.AddMember("bounds", bounds, a);
    v.AddMember("colorDepth", MiGetScreenColorDepth(s), a);
    if (MiEdid* e = MiGetScreenEdid(s)) {
        Value edid(rapidjson::kObjectType);
        Value chroma(rapidjson::kObjectType);
        char const* names[] = {"blue", "green", "red", "white"};
        char const letters[] = {'B', 'G', 'R', 'W'};
        for (int i = 0; i < 4; ++i) {
            MiColor const c = MiGetEdidChromaticity(e, letters[i]);
            chroma.AddMember(rapidjson::StringRef(names[i]), xy(c.x, c.y, a), a);
        }
        edid.AddMember("chromaticity", chroma, a);
        edid.AddMember("isOvakMonitor", MiIsEdidOvakMonitor(e) != 0, a);
        std::uint8_t model = 0;
        std::int32_t year = 0, week = 0;
        if (MiGetEdidManufactureYear(e, &model, &year, &week)) {
            Value made(rapidjson::kObjectType);
            made.AddMember("type", rapidjson::StringRef(model ? "ModelYear" : "ManufactureYear"),
                           a);
            made.AddMember("week", week, a).AddMember("year", year, a);
            edid.AddMember("manufactureYear", made, a);
        }
        edid.AddMember("manufacturer", Value(MiGetEdidManufacturer(e), a), a);
        edid.AddMember("preferredResolution", size(MiGetEdidPreferredResolution(e), a), a);
        edid.AddMember("productName", Value(MiGetEdidProductName(e), a), a);
        edid.AddMember("serialNumber", Value(MiGetEdidSerialNumber(e), a), a);
        v.AddMember("edid", edid, a);
    }
    v.AddMember("isMirroring", MiIsScreenMirroring(s) != 0, a);
    v.AddMember("isPrimary", MiIsScreenPrimary(s) != 0, a);
    MiScale const ratio = MiGetScreenPixelRatio(s);
    v.AddMember("pixelRatio", xy(ratio.x, ratio.y, a), a);
    v.AddMember("refreshRate", MiGetScreenRefreshRate(s), a);
    MiSize const rendering = MiGetScreenRenderingSize(s);
    v.AddMember("renderingSize", size(rendering, a), a);
    v.AddMember("rotation", MiGetScreenRotation(s), a);
    MiScale const scale = MiGetScreenScale(s);
    v.AddMember("scale", xy(scale.x, scale.y, a), a);
    v.AddMember("supportsGraphicsCardGamma", MiSupportsScreenGraphicsCardGamma(s) != 0, a);
    v.AddMember("supportsProfile", MiSupportsScreenProfile(s) != 0, a);
    auto scaled = [](std::int32_t length, double f) {
        return static_cast<std::int64_t>(length / std::max(1.0, f) + 0.5);
    };
    Value virt(rapidjson::kObjectType);
    virt.AddMember("height", scaled(rendering.height, scale.y), a);
    virt.AddMember("width", scaled(rendering.width, scale.x), a);
    v.AddMember("virtualSize", virt, a);
}

void gamma(MiScreen* s, Value& v, Alloc& a) {
    double red[256], green[256], blue[256];
    MiGetScreenGraphicsCardGamma(s, &red, &green, &blue);
    v.SetObject();
    for (auto [name, ramp] : {std::pair<char const*, double*>{"blue", blue}, {"green", green},
                              {"red", red}}) {
        Value array(rapidjson::kArrayType);
        array.Reserve(256, a);
        for (int i = 0; i < 256; ++i)
            array.PushBack(ramp[i], a);
        v.AddMember(rapidjson::StringRef(name), array, a);
    }
}

// ScreenAtIndex: GET (description or gamma) and PUT of a gamma; other methods answer 405.
void screenAtIndex(char const* a1, char const* a2, char const* a3, char const* a4) {
    int const promise = BridgeHelperCreatePromiseID();
    Request r;
    parseArguments(r, a1, a2, a3, a4);
    std::uint32_t index = 0;
    if (r.parameters.IsObject()) {
        auto i = r.parameters.FindMember("index");
        if (i != r.parameters.MemberEnd() && i->value.IsUint())
            index = i->value.GetUint();
    }
    std::string const uri = "/tolma/Screens/" + std::to_string(index);
    MiScreen* const screen = MiGetScreenAtIndex(index);
    if (r.method == "put") {
        double ramps[3][256];
        char const* names[] = {"red", "green", "blue"};
        auto const& g = r.body["gamma"];
        for (int c = 0; c < 3; ++c) {
            auto const& ramp = g[names[c]];
            for (unsigned i = 0; i < 256; ++i)
                ramps[c][i] = ramp[i].GetDouble();
        }
        MiSetScreenGraphicsCardGamma(screen, &ramps[0], &ramps[1], &ramps[2]);
        answer(promise, 200, "PUT", uri, [](Value& v, Alloc&) { v.SetNull(); });
        return;
    }
    bool const wantsGamma = r.query.IsObject() && r.query.HasMember("gamma");
    answer(promise, 200, "GET", uri, [&](Value& v, Alloc& a) {
        if (wantsGamma)
            gamma(screen, v, a);
        else
            description(screen, v, a);
    });
}

// A resource that serves PUT only, asked with another method.
void loginItem(char const* a1, char const* a2, char const* a3, char const* a4) {
    int const promise = BridgeHelperCreatePromiseID();
    Request r;
    parseArguments(r, a1, a2, a3, a4);
    if (r.method != "put") {
        std::string const upper = r.method == "post" ? "POST" : r.method == "delete" ? "DELETE" : "GET";
        std::string const message = upper + " method is not allowed.";
        answer(promise, 405, upper.c_str(), "/tolma/", [](Value&, Alloc&) {}, "MethodError",
               message.c_str());
    }
}

} // namespace rj

namespace nl {

using nlohmann::json;

struct Request {
    json options, parameters, query, body;
    std::string method = "get";
};

json parseOne(char const* text) {
    return json::parse(text, nullptr, false);
}

void parseArguments(Request& r, char const* a1, char const* a2, char const* a3, char const* a4) {
    r.options = parseOne(a1);
    r.parameters = parseOne(a2);
    r.query = parseOne(a3);
    r.body = parseOne(a4);
    if ((r.body.is_discarded() || r.body.is_null()) && *a4 != '\0')
        r.body = a4;
    if (r.options.is_object()) {
        auto m = r.options.find("method");
        if (m != r.options.end() && m->is_string())
            r.method = lowerMethod(m->get_ref<std::string const&>().c_str());
    }
}

void answer(int promise, int status, char const* method, std::string const& uri, json value,
            char const* name = nullptr, char const* message = nullptr) {
    json a;
    if (status == 200) {
        a["error"] = nullptr;
        a["value"] = std::move(value);
    } else {
        a["error"] = {{"message", message}, {"name", name}};
        a["value"] = nullptr;
    }
    settle(promise, status, a.dump().c_str(), logLine(status, method, uri, name, message));
}

json xy(double x, double y) {
    return {{"x", x}, {"y", y}};
}

json size(MiSize s) {
    return {{"width", s.width}, {"height", s.height}};
}

json description(MiScreen* s) {
    json v;
    MiRect const b = MiGetScreenBounds(s);
    v["bounds"] = {{"x", b.x}, {"y", b.y}, {"width", b.width}, {"height", b.height}};
    v["colorDepth"] = MiGetScreenColorDepth(s);
    v["refreshRate"] = MiGetScreenRefreshRate(s);
    v["rotation"] = MiGetScreenRotation(s);
    MiScale const scale = MiGetScreenScale(s);
    v["scale"] = xy(scale.x, scale.y);
    MiSize const rendering = MiGetScreenRenderingSize(s);
    v["renderingSize"] = size(rendering);
    auto scaled = [](std::int32_t length, double f) {
        return static_cast<std::int64_t>(length / std::max(1.0, f) + 0.5);
    };
    v["virtualSize"] = {{"width", scaled(rendering.width, scale.x)},
                        {"height", scaled(rendering.height, scale.y)}};
    v["isPrimary"] = MiIsScreenPrimary(s) != 0;
    v["isMirroring"] = MiIsScreenMirroring(s) != 0;
    v["supportsProfile"] = MiSupportsScreenProfile(s) != 0;
    v["supportsGraphicsCardGamma"] = MiSupportsScreenGraphicsCardGamma(s) != 0;
    MiScale const ratio = MiGetScreenPixelRatio(s);
    v["pixelRatio"] = xy(ratio.x, ratio.y);
    if (MiEdid* e = MiGetScreenEdid(s)) {
        json edid;
        edid["isOvakMonitor"] = MiIsEdidOvakMonitor(e) != 0;
        edid["manufacturer"] = MiGetEdidManufacturer(e);
        edid["productName"] = MiGetEdidProductName(e);
        edid["serialNumber"] = MiGetEdidSerialNumber(e);
        edid["preferredResolution"] = size(MiGetEdidPreferredResolution(e));
        json& chroma = edid["chromaticity"];
        for (auto [letter, name] : {std::pair<char, char const*>{'R', "red"}, {'G', "green"},
                                    {'B', "blue"}, {'W', "white"}}) {
            MiColor const c = MiGetEdidChromaticity(e, letter);
            chroma[name] = xy(c.x, c.y);
        }
        std::uint8_t model = 0;
        std::int32_t year = 0, week = 0;
        if (MiGetEdidManufactureYear(e, &model, &year, &week))
            edid["manufactureYear"] = {
                {"type", model ? "ModelYear" : "ManufactureYear"}, {"year", year}, {"week", week}};
        v["edid"] = std::move(edid);
    }
    return v;
}

json gamma(MiScreen* s) {
    double red[256], green[256], blue[256];
    MiGetScreenGraphicsCardGamma(s, &red, &green, &blue);
    return {{"red", std::vector<double>(red, red + 256)},
            {"green", std::vector<double>(green, green + 256)},
            {"blue", std::vector<double>(blue, blue + 256)}};
}

void screenAtIndex(char const* a1, char const* a2, char const* a3, char const* a4) {
    int const promise = BridgeHelperCreatePromiseID();
    Request r;
    parseArguments(r, a1, a2, a3, a4);
    std::uint32_t const index =
        r.parameters.is_object() ? r.parameters.value("index", std::uint32_t{0}) : 0;
    std::string const uri = "/tolma/Screens/" + std::to_string(index);
    MiScreen* const screen = MiGetScreenAtIndex(index);
    if (r.method == "put") {
        double ramps[3][256];
        char const* names[] = {"red", "green", "blue"};
        json const& g = r.body["gamma"];
        for (int c = 0; c < 3; ++c) {
            json const& ramp = g[names[c]];
            for (std::size_t i = 0; i < 256; ++i)
                ramps[c][i] = ramp[i].get<double>();
        }
        MiSetScreenGraphicsCardGamma(screen, &ramps[0], &ramps[1], &ramps[2]);
        answer(promise, 200, "PUT", uri, nullptr);
        return;
    }
    bool const wantsGamma = r.query.is_object() && r.query.contains("gamma");
    answer(promise, 200, "GET", uri, wantsGamma ? gamma(screen) : description(screen));
}

void loginItem(char const* a1, char const* a2, char const* a3, char const* a4) {
    int const promise = BridgeHelperCreatePromiseID();
    Request r;
    parseArguments(r, a1, a2, a3, a4);
    if (r.method != "put") {
        std::string const upper = r.method == "post" ? "POST" : r.method == "delete" ? "DELETE" : "GET";
        std::string const message = upper + " method is not allowed.";
        answer(promise, 405, upper.c_str(), "/tolma/", nullptr, "MethodError", message.c_str());
    }
}

} // namespace nl

// ---------------------------------------------------------------------------------------------
// The requests.

// A screen with every part of a description (EDID with a model year, pixel ratio), numbered.
std::string screenJson(int i) {
    return R"({"id":"S)" + std::to_string(i) + R"(","bounds":{"x":)" + std::to_string(i * 3840) +
           R"(,"y":0,"width":3840,"height":2160},"refreshRate":59.94,"scale":{"x":1.5,"y":1.5},)"
           R"("renderingSize":{"width":3840,"height":2160},"primary":)" +
           (i == 0 ? "true" : "false") +
           R"(,"pixelRatio":{"x":1.25,"y":1.25},"edid":{"isOvakMonitor":true,)"
           R"("manufacturer":"OVK","productName":"OVK-P27 Reference","serialNumber":"2)" +
           std::to_string(1000000 + i) +
           R"(","preferredResolution":{"width":3840,"height":2160},"chromaticity":{)"
           R"("red":{"x":0.6796875,"y":0.3203125},"green":{"x":0.265625,"y":0.6904296875},)"
           R"("blue":{"x":0.150390625,"y":0.0595703125},"white":{"x":0.3125,"y":0.3291015625}},)"
           R"("manufactureYear":{"isModelYear":false,"year":2024,"week":12}}})";
}

// `count` screens; the plug-in's list is released so that its next request reads them.
void loadScreens(int count, Call const& releaseList) {
    std::string screens = "[";
    for (int i = 0; i < count; ++i)
        screens += (i ? "," : "") + screenJson(i);
    std::string const world = R"({"screens":)" + screens + R"(],"display":{"randrEventBase":0}})";
    if (char const* error = SimWorldLoad(world.c_str())) {
        std::fprintf(stderr, "world: %s\n", error);
        std::exit(1);
    }
    releaseList();
}

void loadProcesses(int count) {
    std::string processes;
    for (int i = 0; i < count; ++i) {
        std::string const n = std::to_string(i);
        processes += (i ? "," : "") + std::string(R"({"name":"worker-)") + n + R"(","pid":)" +
                     std::to_string(1000 + i) + R"(,"command":"/usr/lib/worker/worker --id )" + n +
                     R"( --socket /run/user/1000/worker.sock"})";
    }
    std::string const world = R"({"system":{"processes":[)" + processes + "]}}";
    if (char const* error = SimWorldLoad(world.c_str())) {
        std::fprintf(stderr, "world: %s\n", error);
        std::exit(1);
    }
}

// A gamma body of three ramps of 256 numbers (a 2.2 curve, so that every number has 17 digits).
std::string gammaBody() {
    std::string body = R"({"gamma":{)";
    char const* names[] = {"red", "green", "blue"};
    for (int c = 0; c < 3; ++c) {
        body += std::string(c ? "," : "") + "\"" + names[c] + "\":[";
        for (int i = 0; i < 256; ++i) {
            char number[40];
            std::snprintf(number, sizeof number, "%.17g",
                          __builtin_pow(i / 255.0, 1.0 / (2.2 + 0.05 * c)));
            body += (i ? "," : "") + std::string(number);
        }
        body += "]";
    }
    return body + "}}";
}

using Peer = void (*)(char const*, char const*, char const*, char const*);

struct Row {
    std::string name;
    char const* resource;
    std::string options, parameters, query, body;
    int screens;   // the world's screens before the row (0: a process list instead)
    int processes; // the world's processes (with screens 0)
    int perEntry;  // entries of the answer, for a cost per entry (0: none)
    int status;    // the answer's status: anything else means the row measures the wrong thing
    Peer rapid;
    Peer nlohmann;
};

std::vector<Row> rows() {
    std::string const get = R"({"method":"get"})";
    std::string const put = R"({"method":"put"})";
    std::vector<Row> r = {
        {"405 (the request cycle alone)", "SystemLoginItem", get, "{}", "{}", "", 1, 0, 0, 405,
         rj::loginItem, nl::loginItem},
        {"one screen description (`ScreenAtIndex` GET)", "ScreenAtIndex", get, R"({"index":0})",
         "{}", "", 1, 0, 0, 200, rj::screenAtIndex, nl::screenAtIndex},
        {"gamma GET (768 doubles)", "ScreenAtIndex", get, R"({"index":0})", R"({"gamma":true})",
         "", 1, 0, 0, 200, rj::screenAtIndex, nl::screenAtIndex},
        {"PUT of a 768-number gamma body", "ScreenAtIndex", put, R"({"index":0})", "{}",
         gammaBody(), 1, 0, 0, 200, rj::screenAtIndex, nl::screenAtIndex},
    };
    for (int n : {1, 8, 64, 512})
        r.push_back({"`Screens` GET, " + std::to_string(n) + " screens", "Screens", get, "{}", "{}",
                     "", n, 0, n, 200, nullptr, nullptr});
    r.push_back({"`SystemInformation` GET, every section", "SystemInformation", get, "{}", "null",
                 "", 1, 0, 0, 200, nullptr, nullptr});
    r.push_back({"`SystemProcesses` GET, 1,000 processes", "SystemProcesses", get, "{}", "{}", "",
                 0, 1000, 1000, 200, nullptr, nullptr});
    return r;
}

// What one subject cost in one round: CPU nanoseconds and C++ allocations per call.
struct Sample {
    double nanoseconds = 0;
    double allocations = 0;
};

// The subjects of one row, in this order.
enum Subject { kPlugin, kRapid, kNlohmann, kStandIns, kSubjects };

struct RowSample {
    Sample s[kSubjects];
};

// Times `call` in batches of about `batchNanoseconds`, dropping the recordings between batches.
Sample measure(Call const& call, double batchNanoseconds, int batches) {
    resetStandIns();
    double const t0 = threadCpuNanoseconds();
    call();
    double const once = std::max(threadCpuNanoseconds() - t0, 50.0);
    int const perBatch = std::max(1, static_cast<int>(batchNanoseconds / once));
    std::vector<double> perCall;
    double allocations = 0;
    for (int b = 0; b < batches; ++b) {
        resetStandIns();
        std::uint64_t const a0 = g_allocations.load(std::memory_order_relaxed);
        double const start = threadCpuNanoseconds();
        for (int i = 0; i < perBatch; ++i)
            call();
        double const spent = threadCpuNanoseconds() - start;
        allocations = static_cast<double>(g_allocations.load(std::memory_order_relaxed) - a0) /
                      perBatch;
        perCall.push_back(spent / perBatch);
    }
    std::sort(perCall.begin(), perCall.end());
    return Sample{perCall[perCall.size() / 2], allocations};
}

// One round in this process: every row through `pluginPath`, and the peers when asked.
std::vector<RowSample> runRound(std::string const& pluginPath, bool peers) {
    SimHostSetExportsPath(sim::host::standInDirectory().c_str());
    sim::host::Plugin plugin;
    if (!plugin.open(pluginPath) || !plugin.setup()) {
        std::fprintf(stderr, "cannot load %s: %s\n", pluginPath.c_str(), plugin.error().c_str());
        std::exit(1);
    }
    auto const screens = plugin.resource("Screens");
    Call const releaseList = [screens] {
        screens(R"({"method":"delete"})", "{}", "{}", "");
        screens(R"({"method":"get"})", "{}", "{}", "");
        resetStandIns();
    };
    std::vector<RowSample> out;
    for (Row const& row : rows()) {
        if (row.screens > 0)
            loadScreens(row.screens, releaseList);
        else
            loadProcesses(row.processes);
        char const* const a1 = row.options.c_str();
        char const* const a2 = row.parameters.c_str();
        char const* const a3 = row.query.c_str();
        char const* const a4 = row.body.c_str();
        auto const function = plugin.resource(row.resource);
        RowSample sample;
        Call const viaPlugin = [&] { function(a1, a2, a3, a4); };
        for (int warm = 0; warm < 3; ++warm)
            viaPlugin();
        sample.s[kPlugin] = measure(viaPlugin, 2e6, 5);
        resetStandIns();
        viaPlugin();
        Recorded const recorded = lastRecorded();
        if (recorded.status != row.status || recorded.line.empty()) {
            std::fprintf(stderr, "%s: status %d, log line \"%s\": %s\n", row.name.c_str(),
                         recorded.status, recorded.line.c_str(), recorded.answer.c_str());
            std::exit(1);
        }
        // The host's side of the same request: a promise, the answer and the log line.
        sample.s[kStandIns] = measure(
            [&] {
                int const promise = BridgeHelperCreatePromiseID();
                ostrana_log(peerLogger(), "Tolma", recorded.level, recorded.line.c_str());
                BridgeHelperSetResponse(promise, recorded.status, recorded.answer.c_str());
            },
            2e6, 5);
        if (peers) {
            if (row.rapid) {
                Peer const f = row.rapid;
                sample.s[kRapid] = measure([&] { f(a1, a2, a3, a4); }, 2e6, 5);
            }
            if (row.nlohmann) {
                Peer const f = row.nlohmann;
                sample.s[kNlohmann] = measure([&] { f(a1, a2, a3, a4); }, 2e6, 5);
            }
        }
        out.push_back(sample);
    }
    plugin.tearDown();
    return out;
}

// Only the plug-in's calls of one row, for an instruction count: e.g. under
// valgrind --tool=callgrind --toggle-collect=ScreenAtIndex, CALLS calls after three warm-up calls.
int repeat(std::string const& pluginPath, Row const& row, int calls) {
    SimHostSetExportsPath(sim::host::standInDirectory().c_str());
    sim::host::Plugin plugin;
    if (!plugin.open(pluginPath) || !plugin.setup()) {
        std::fprintf(stderr, "cannot load %s: %s\n", pluginPath.c_str(), plugin.error().c_str());
        return 1;
    }
    auto const screens = plugin.resource("Screens");
    if (row.screens > 0) {
        loadScreens(row.screens, [screens] {
            screens(R"({"method":"delete"})", "{}", "{}", "");
            screens(R"({"method":"get"})", "{}", "{}", "");
        });
    } else {
        loadProcesses(row.processes);
    }
    auto const function = plugin.resource(row.resource);
    for (int i = 0; i < 3 + calls; ++i) {
        resetStandIns();
        function(row.options.c_str(), row.parameters.c_str(), row.query.c_str(), row.body.c_str());
    }
    std::printf("%s: %d calls\n", row.name.c_str(), calls);
    plugin.tearDown();
    return 0;
}

// Runs one round in a child process and reads its samples back through a pipe.
std::vector<RowSample> roundInChild(std::string const& pluginPath, bool peers, std::size_t count) {
    int fds[2];
    if (pipe(fds) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    std::fflush(nullptr);
    pid_t const child = fork();
    if (child == 0) {
        close(fds[0]);
        std::vector<RowSample> const samples = runRound(pluginPath, peers);
        char const* p = reinterpret_cast<char const*>(samples.data());
        std::size_t left = samples.size() * sizeof(RowSample);
        while (left > 0) {
            ssize_t const n = write(fds[1], p, left);
            if (n <= 0)
                _exit(1);
            p += n;
            left -= static_cast<std::size_t>(n);
        }
        std::fflush(nullptr);
        _exit(0);
    }
    close(fds[1]);
    std::vector<RowSample> samples(count);
    char* p = reinterpret_cast<char*>(samples.data());
    std::size_t left = count * sizeof(RowSample);
    while (left > 0) {
        ssize_t const n = read(fds[0], p, left);
        if (n <= 0)
            break;
        p += n;
        left -= static_cast<std::size_t>(n);
    }
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (left != 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "a benchmark round with %s failed\n", pluginPath.c_str());
        std::exit(1);
    }
    return samples;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

std::string micro(double ns) {
    char text[32];
    if (ns >= 100000)
        std::snprintf(text, sizeof text, "%.0f µs", ns / 1000);
    else if (ns >= 10000)
        std::snprintf(text, sizeof text, "%.1f µs", ns / 1000);
    else
        std::snprintf(text, sizeof text, "%.2f µs", ns / 1000);
    return text;
}

std::string ratio(double r) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2fx", r);
    return text;
}

} // namespace

int main(int argc, char** argv) {
    std::string pluginPath = TOLMA_PLUGIN_PATH;
    std::string baseline;
    int rounds = 7;
    int repeatRow = -1;
    int repeatCalls = 0;
    bool list = false;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--plugin") && i + 1 < argc)
            pluginPath = argv[++i];
        else if (!std::strcmp(argv[i], "--baseline") && i + 1 < argc)
            baseline = argv[++i];
        else if (!std::strcmp(argv[i], "--rounds") && i + 1 < argc)
            rounds = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(argv[i], "--repeat") && i + 2 < argc) {
            repeatRow = std::atoi(argv[++i]);
            repeatCalls = std::max(0, std::atoi(argv[++i]));
        } else if (!std::strcmp(argv[i], "--list")) {
            list = true;
        } else {
            std::fprintf(stderr,
                         "usage: %s [--plugin PATH] [--baseline PATH] [--rounds N]\n"
                         "       %s [--plugin PATH] --repeat ROW CALLS\n"
                         "       %s --list\n",
                         argv[0], argv[0], argv[0]);
            return 2;
        }
    }
    std::vector<Row> const table = rows();
    if (list) {
        // One line per row: its number for --repeat, the exported function it calls, its name.
        for (std::size_t i = 0; i < table.size(); ++i)
            std::printf("%zu\t%s\t%s\n", i, table[i].resource, table[i].name.c_str());
        return 0;
    }
    if (repeatRow >= 0)
        return repeat(pluginPath, table.at(static_cast<std::size_t>(repeatRow)), repeatCalls);
    std::vector<std::vector<RowSample>> current, before;
    for (int r = 0; r < rounds; ++r) {
        current.push_back(roundInChild(pluginPath, true, table.size()));
        if (!baseline.empty())
            before.push_back(roundInChild(baseline, false, table.size()));
    }

    auto column = [&](std::vector<std::vector<RowSample>> const& runs, std::size_t row,
                      Subject s) {
        std::vector<double> v;
        for (auto const& run : runs)
            v.push_back(run[row].s[s].nanoseconds);
        return v;
    };
    auto ratioColumn = [&](std::vector<double> const& a, std::vector<double> const& b) {
        std::vector<double> v;
        for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
            v.push_back(a[i] / b[i]);
        return median(v);
    };

    std::printf("| request | plug-in: CPU per call (spread) | allocations per call | stand-ins' "
                "share | RapidJSON sketch | plug-in / RapidJSON | nlohmann sketch | plug-in / "
                "nlohmann |%s\n",
                baseline.empty() ? "" : " before: CPU per call | after / before |");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---:|%s\n",
                baseline.empty() ? "" : "---:|---:|");
    for (std::size_t i = 0; i < table.size(); ++i) {
        Row const& row = table[i];
        std::vector<double> const plugin = column(current, i, kPlugin);
        double const m = median(plugin);
        double const spread = (*std::max_element(plugin.begin(), plugin.end()) -
                               *std::min_element(plugin.begin(), plugin.end())) /
                              m * 100;
        std::string cost = micro(m) + " (" + std::to_string(static_cast<int>(spread + 0.5)) + " %)";
        if (row.perEntry > 1)
            cost += ", " + micro(m / row.perEntry) + " per entry";
        std::vector<double> const standIns = column(current, i, kStandIns);
        char allocations[32];
        std::snprintf(allocations, sizeof allocations, "%.0f",
                      current.back()[i].s[kPlugin].allocations -
                          current.back()[i].s[kStandIns].allocations);
        if (row.perEntry > 1)
            std::snprintf(allocations + std::strlen(allocations),
                          sizeof allocations - std::strlen(allocations), " (%.1f per entry)",
                          (current.back()[i].s[kPlugin].allocations -
                           current.back()[i].s[kStandIns].allocations) /
                              row.perEntry);
        char share[16];
        std::snprintf(share, sizeof share, "%.0f %%", ratioColumn(standIns, plugin) * 100);
        std::string peerCells;
        for (Subject s : {kRapid, kNlohmann}) {
            bool const has = s == kRapid ? row.rapid != nullptr : row.nlohmann != nullptr;
            if (!has) {
                peerCells += " — | — |";
                continue;
            }
            std::vector<double> const peer = column(current, i, s);
            peerCells += " " + micro(median(peer)) + " | " + ratio(ratioColumn(plugin, peer)) + " |";
        }
        std::string beforeCells;
        if (!baseline.empty()) {
            std::vector<double> const old = column(before, i, kPlugin);
            beforeCells = " " + micro(median(old)) + " | " + ratio(ratioColumn(plugin, old)) + " |";
        }
        std::printf("| %s | %s | %s | %s |%s%s\n", row.name.c_str(), cost.c_str(), allocations,
                    share, peerCells.c_str(), beforeCells.c_str());
    }
    return 0;
}
