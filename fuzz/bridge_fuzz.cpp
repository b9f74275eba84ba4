// libFuzzer target: libtolma.so.2 opened as a host opens it and driven by short scripts of calls,
// world changes and library failures, with the host's contract checked after every step.
//
// An input is a script of lines ('\n'); fields are separated by TAB. The first byte of a line
// picks the step, so "call" and "c" are the same:
//   call     <resource> <options> <parameters> <query> <body>   one exported resource function
//   profile  <parameters> <profile JSON>   PUT of {"profile":...} to one screen, then a GET of it
//   host     <function>                    one of the other exported functions (Setup, ...)
//   world    <JSON>                        SimWorldLoad
//   screens  <JSON>                        SimWorldSetScreens
//   merge    <JSON>                        SimWorldPatch
//   reset                                  SimWorldReset
//   fail     <library function> [count]    SimWorldFailCalls (count 1 when left out, -1 always)
//   event    [offset]                      SimWorldDeliverScreenEvent
//   exports  <0..3>                        exports directory: stand-ins, NULL, "", a missing one
// Lines of other kinds, such as a "#" comment, are skipped. Resources, functions and library
// functions are given by name; any other text picks one by its hash, so that mutated names still
// reach every one. Names come from the plug-in's list (resources.h) and the stand-ins' symbols.
// An argument field that is exactly "~" is NULL; missing trailing arguments are NULL. An options
// field "@m" stands for {"method":"m"}. In every field '%' starts an escape: %HH is a byte, %% is
// '%', %<...%> groups text, and %*N* repeats the next byte, escape or group N times (amplified
// inputs: %*100000*[ is 100,000 '[' and %*3000000*a three million 'a').
//
// Every file the plug-in would remove or rename is recorded instead (see the interposers below).
//
// After every step the host's side of the contract is checked, and a breach aborts: one answer
// per promise, for the promise returned; the answer UTF-8 JSON, {"error":null,"value":...} for
// status 200 and {"error":{...,"message":...,"name":...},"value":null} otherwise; 400 for an
// argument beyond the request limits, else 405 for a method the resource does not serve; one
// request log line that agrees with the answer, only "event:" lines besides, no raw CR or LF;
// events UTF-8 JSON; no contract breach seen by a stand-in; files removed only by a DELETE and only
// the profile it named; a stored profile reads back as it was sent.
#include "bridge/bridge_template.h"
#include "json/parser.h"
#include "json/value.h"
#include "plugin/tolma.h"
#include "sim/host/desktop_sandbox.h"
#include "sim/host/exports_directory.h"
#include "sim/host/plugin.h"
#include "sim/host/recorded.h"
#include "sim/host/utf8_check.h"
#include "sim/sim_control.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// ---- Interposers: nothing is removed or renamed on behalf of the plug-in ------------------------
//
// The executable exports these (see fuzz/CMakeLists.txt), so they come first in the global scope
// and the plug-in's calls land here. Calls from the executable itself (libFuzzer managing its
// corpus and temporary files) go on to the C library; every other caller is recorded, and told
// that the call succeeded.

namespace {

std::mutex& removalMutex() {
    static std::mutex mutex;
    return mutex;
}

std::vector<std::string>& removals() {
    static std::vector<std::string> recorded;
    return recorded;
}

bool calledFromThisProgram(void const* returnAddress) {
    Dl_info caller{};
    Dl_info self{};
    if (dladdr(returnAddress, &caller) == 0 ||
        dladdr(reinterpret_cast<void const*>(&calledFromThisProgram), &self) == 0)
        return false;
    return caller.dli_fbase == self.dli_fbase;
}

void recordRemoval(char const* what, char const* path) {
    std::lock_guard<std::mutex> const held(removalMutex());
    removals().push_back(std::string(what) + ":" + (path != nullptr ? path : "(null)"));
}

template <typename F>
F nextDefinition(char const* name) {
    void* const symbol = dlsym(RTLD_NEXT, name);
    F f = nullptr;
    static_assert(sizeof f == sizeof symbol, "function and data pointers differ");
    std::memcpy(&f, &symbol, sizeof f);
    return f;
}

} // namespace

extern "C" {

__attribute__((noinline, visibility("default"))) int unlink(char const* path) {
    if (calledFromThisProgram(__builtin_return_address(0))) {
        static auto const real = nextDefinition<int (*)(char const*)>("unlink");
        return real(path);
    }
    recordRemoval("unlink", path);
    return 0;
}

__attribute__((noinline, visibility("default"))) int unlinkat(int dirfd, char const* path,
                                                              int flags) {
    if (calledFromThisProgram(__builtin_return_address(0))) {
        static auto const real = nextDefinition<int (*)(int, char const*, int)>("unlinkat");
        return real(dirfd, path, flags);
    }
    recordRemoval("unlinkat", path);
    return 0;
}

__attribute__((noinline, visibility("default"))) int remove(char const* path) {
    if (calledFromThisProgram(__builtin_return_address(0))) {
        static auto const real = nextDefinition<int (*)(char const*)>("remove");
        return real(path);
    }
    recordRemoval("remove", path);
    return 0;
}

__attribute__((noinline, visibility("default"))) int rmdir(char const* path) {
    if (calledFromThisProgram(__builtin_return_address(0))) {
        static auto const real = nextDefinition<int (*)(char const*)>("rmdir");
        return real(path);
    }
    recordRemoval("rmdir", path);
    return 0;
}

__attribute__((noinline, visibility("default"))) int rename(char const* from, char const* to) {
    if (calledFromThisProgram(__builtin_return_address(0))) {
        static auto const real = nextDefinition<int (*)(char const*, char const*)>("rename");
        return real(from, to);
    }
    recordRemoval("rename", to);
    return 0;
}

__attribute__((noinline, visibility("default"))) int renameat(int fromDir, char const* from,
                                                              int toDir, char const* to) {
    if (calledFromThisProgram(__builtin_return_address(0))) {
        static auto const real =
            nextDefinition<int (*)(int, char const*, int, char const*)>("renameat");
        return real(fromDir, from, toDir, to);
    }
    recordRemoval("renameat", to);
    return 0;
}

} // extern "C"

namespace {

using ResourceFunction = int (*)(char const*, char const*, char const*, char const*);
using Text = std::optional<std::string>;

// ---- Failing loudly -----------------------------------------------------------------------------

std::string& currentStep() {
    static std::string step;
    return step;
}

void violated(std::string const& what) {
    std::string step = currentStep();
    if (step.size() > 600)
        step = step.substr(0, 600) + "... (" + std::to_string(step.size()) + " bytes)";
    std::fprintf(stderr, "bridge_fuzz: contract violated: %s\n  during: %s\n", what.c_str(),
                 step.c_str());
    std::abort();
}

void check(bool condition, std::string const& what) {
    if (!condition)
        violated(what);
}

// Text for a message: at most 300 bytes, control bytes and non-ASCII as \xHH.
std::string shown(std::string const& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size() && out.size() < 300; ++i) {
        auto const c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x7f) {
            out += static_cast<char>(c);
        } else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        }
    }
    if (out.size() >= 300)
        out += "... (" + std::to_string(text.size()) + " bytes)";
    return out;
}

// ---- The plug-in's exports, from its one list ---------------------------------------------------

struct Resource {
    char const* name;
    char const* methods; // G get, U put, P post, D delete
    ResourceFunction function;
};

#define TOLMA_FUZZ_RESOURCE(Name, Methods) {#Name, Methods, nullptr},
Resource resources[] = {TOLMA_RESOURCES(TOLMA_FUZZ_RESOURCE)};
#undef TOLMA_FUZZ_RESOURCE

enum ResourceIndex : std::size_t {
#define TOLMA_FUZZ_RESOURCE_INDEX(Name, Methods) kResource##Name,
    TOLMA_RESOURCES(TOLMA_FUZZ_RESOURCE_INDEX)
#undef TOLMA_FUZZ_RESOURCE_INDEX
        kResourceCount
};

// Backups handed out by TolmaDisablePowerManagementSettings and not yet given back.
std::vector<TolmaPowerManagementBackup*>& backups() {
    static std::vector<TolmaPowerManagementBackup*> held;
    return held;
}

// How a host calls each kind of extra function, chosen by its declared type in tolma.h.
template <typename F>
struct ExtraCall;
template <>
struct ExtraCall<void (*)()> {
    static void run(void* symbol) { reinterpret_cast<void (*)()>(symbol)(); }
};
template <>
struct ExtraCall<TolmaPowerManagementBackup* (*)()> {
    static void run(void* symbol) {
        TolmaPowerManagementBackup* const backup =
            reinterpret_cast<TolmaPowerManagementBackup* (*)()>(symbol)();
        if (backup != nullptr)
            backups().push_back(backup);
    }
};
template <>
struct ExtraCall<void (*)(TolmaPowerManagementBackup*)> {
    static void run(void* symbol) {
        TolmaPowerManagementBackup* backup = nullptr;
        if (!backups().empty()) {
            backup = backups().back();
            backups().pop_back();
        }
        reinterpret_cast<void (*)(TolmaPowerManagementBackup*)>(symbol)(backup);
    }
};

struct Extra {
    char const* name;
    void (*run)(void* symbol);
    void* symbol;
};

#define TOLMA_FUZZ_EXTRA(Name) {#Name, &ExtraCall<decltype(&::Name)>::run, nullptr},
Extra extras[] = {TOLMA_EXTRA_FUNCTIONS(TOLMA_FUZZ_EXTRA)};
#undef TOLMA_FUZZ_EXTRA

enum ExtraIndex : std::size_t {
#define TOLMA_FUZZ_EXTRA_INDEX(Name) kExtra##Name,
    TOLMA_EXTRA_FUNCTIONS(TOLMA_FUZZ_EXTRA_INDEX)
#undef TOLMA_FUZZ_EXTRA_INDEX
        kExtraCount
};

// The library functions the world can make fail, from the stand-ins' symbol lists.
char const* const libraryFunctions[] = {
#include "library_functions.inc"
};
constexpr std::size_t kLibraryFunctionCount = sizeof libraryFunctions / sizeof libraryFunctions[0];

// The plug-in, loaded once for the whole run; the process ends with it loaded.
sim::host::Plugin* plugin = nullptr;

sim::host::LoggingStandIn const& logging() {
    static sim::host::LoggingStandIn const* const standIn = new sim::host::LoggingStandIn();
    return *standIn;
}

// BRIDGE_FUZZ_VERBOSE set: every step, answer and log line is printed to stderr.
bool verbose = false;

// ---- Checks on texts ----------------------------------------------------------------------------

// The C string a text is as an argument: what comes before its first NUL byte.
std::string asArgument(std::string const& text) {
    return std::string(text.c_str());
}

// ---- What the host recorded ---------------------------------------------------------------------

struct Marks {
    std::size_t responses = 0;
    std::size_t lines = 0;
    std::size_t removals = 0;
};

std::size_t eventsChecked = 0;

Marks marksNow() {
    Marks m;
    m.responses = SimPageBridgeResponseCount();
    m.lines = SimOstranaLineCount();
    std::lock_guard<std::mutex> const held(removalMutex());
    m.removals = removals().size();
    return m;
}

bool isEventLine(std::string const& line) {
    return line.compare(0, 6, "event:") == 0;
}

// Checks the log lines from `from` on: no raw CR or LF anywhere, and returns those that are not
// event lines (the request lines).
std::vector<std::pair<std::int32_t, std::string>> requestLinesSince(std::size_t from) {
    std::vector<std::pair<std::int32_t, std::string>> requestLines;
    for (sim::LogLine const& line : logging().lines(from)) {
        check(line.line.find_first_of("\r\n") == std::string::npos,
              "a log line holds a raw CR or LF: " + shown(line.line));
        check(line.name == "Tolma",
              "a log line under another name than Tolma: " + shown(line.line));
        if (!isEventLine(line.line))
            requestLines.emplace_back(line.level, line.line);
    }
    return requestLines;
}

// Events pushed to the page: a name, and a compact UTF-8 JSON payload.
void checkEvents() {
    for (sim::Event const& event : sim::host::events(eventsChecked)) {
        ++eventsChecked;
        check(!event.name.empty(), "an event without a name");
        std::string const& payload = event.json;
        check(sim::host::IsStrictUtf8(payload), "an event payload is not UTF-8: " + shown(payload));
        pocketjson::Parser parser;
        pocketjson::Value value;
        check(parser.parse(payload, value), "an event payload is not JSON: " + shown(payload));
    }
}

// Checks that hold after every step.
void checkAlways() {
    check(SimPageBridgeViolationCount() == 0, "the page-bridge library saw a contract violation");
    check(SimOstranaViolationCount() == 0, "the logging library saw a contract violation");
    check(SimScrinfoStaleHandleCount() == 0, "a screen or EDID handle of an earlier list was used");
    check(SimOrmicViolationCount() == 0, "the system-information library saw a bad call");
    check(SimOrmicOpenSnapshotCount() == 0, "a system-information snapshot was left open");
    checkEvents();
}

std::vector<std::string> removalsSince(std::size_t from) {
    std::lock_guard<std::mutex> const held(removalMutex());
    return std::vector<std::string>(removals().begin() + static_cast<std::ptrdiff_t>(from),
                                    removals().end());
}

// A step that is not a request: no answer, no request line, nothing removed.
void checkQuietStep(Marks const& before) {
    check(SimPageBridgeResponseCount() == before.responses, "an answer outside any request");
    check(requestLinesSince(before.lines).empty(), "a request log line outside any request");
    std::vector<std::string> const removed = removalsSince(before.removals);
    check(removed.empty(), "a file removed outside any request: " +
                               (removed.empty() ? std::string() : shown(removed.front())));
    checkAlways();
}

// ---- One request --------------------------------------------------------------------------------

struct Answer {
    std::int32_t status = 0;
    std::string json;
    pocketjson::Value value; // the answer's "value" member
};

// How an argument stands against the plug-in's request limits (bridge_template.h): text larger
// or nested deeper than they allow is refused with 400 before anything is parsed, and its field
// stays null.
enum class Limits { Within, Beyond, Unknown };

// One argument as the plug-in receives it: the text up to the first NUL byte, its JSON value when
// it parses in full, and whether it is within the limits.
struct Argument {
    bool present = false;
    std::string text;
    std::optional<pocketjson::Value> parsed;
    Limits limits = Limits::Within;
};

// Nesting depth of a parsed value (a scalar is 0), walked without recursion.
std::size_t depthOf(pocketjson::Value const& value) {
    // One frame per open container on the path, so that memory follows the depth, not the width.
    struct Frame {
        pocketjson::Value const* container;
        std::size_t next;                               // array: the next item
        pocketjson::Value::Object::const_iterator item; // object: the next member
    };
    auto isContainer = [](pocketjson::Value const& v) {
        return v.type() == pocketjson::Type::Array || v.type() == pocketjson::Type::Object;
    };
    if (!isContainer(value))
        return 0;
    std::vector<Frame> path{{&value, 0, value.objectItems().begin()}};
    std::size_t deepest = 1;
    while (!path.empty()) {
        Frame& top = path.back();
        pocketjson::Value const* child = nullptr;
        if (top.container->type() == pocketjson::Type::Array) {
            if (top.next < top.container->arrayItems().size())
                child = &top.container->arrayItems()[top.next++];
        } else if (top.item != top.container->objectItems().end()) {
            child = &(top.item++)->second;
        }
        if (child == nullptr) {
            path.pop_back();
        } else if (isContainer(*child)) {
            path.push_back(Frame{child, 0, child->objectItems().begin()});
            deepest = std::max(deepest, path.size());
        }
    }
    return deepest;
}

Argument viewOf(Text const& text) {
    Argument a;
    if (!text)
        return a;
    a.present = true;
    a.text = asArgument(*text);
    if (a.text.size() > kMaxArgumentBytes) {
        a.limits = Limits::Beyond;
        return a;
    }
    // No nesting deeper than the limit is possible with no more opening brackets than that.
    auto const brackets = static_cast<std::size_t>(
        std::count_if(a.text.begin(), a.text.end(), [](char c) { return c == '[' || c == '{'; }));
    bool const mayBeTooDeep = brackets > kMaxArgumentDepth;
    // Parsing millions of open brackets would take more memory here than the plug-in spends on
    // refusing them: such large texts stay unparsed, and their standing unknown.
    if (mayBeTooDeep && a.text.size() > (std::size_t{1} << 20)) {
        a.limits = Limits::Unknown;
        return a;
    }
    pocketjson::Parser parser;
    pocketjson::Value value;
    if (parser.parse(a.text, value)) {
        a.limits = depthOf(value) > kMaxArgumentDepth ? Limits::Beyond : Limits::Within;
        a.parsed = std::move(value);
        return a;
    }
    // Text that is not JSON: how deep the refusal counts it is not known from here.
    a.limits = mayBeTooDeep ? Limits::Unknown : Limits::Within;
    return a;
}

// 'G', 'U', 'P' or 'D' as the request selects the method, when that is known: the "method" member
// of the options as text (strings as they are, other scalars as JSON writes them), case aside;
// anything else, no member, or options refused by the limits is a GET.
std::optional<char> methodLetter(Argument const& options) {
    if (options.limits == Limits::Unknown ||
        (options.present && !options.parsed && options.limits != Limits::Beyond))
        return std::nullopt;
    std::string method;
    if (options.limits == Limits::Within && options.parsed && options.parsed->contains("method"))
        method = (*options.parsed)["method"].toString("");
    for (char& c : method) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    if (method == "put")
        return 'U';
    if (method == "post")
        return 'P';
    if (method == "delete")
        return 'D';
    return 'G';
}

char const* methodName(char letter) {
    switch (letter) {
    case 'U':
        return "PUT";
    case 'P':
        return "POST";
    case 'D':
        return "DELETE";
    default:
        return "GET";
    }
}

std::string describe(Resource const& resource, Argument const (&args)[4]) {
    std::string text = std::string("call ") + resource.name;
    for (Argument const& a : args)
        text += " | " + (a.present ? shown(a.text) : std::string("NULL"));
    return text;
}

// Files a request may remove: the "profile" member, as text, of any argument that names one.
// False when an argument that mentions a profile does not parse, so its intent is unknown.
bool profilesNamed(Argument const (&args)[4], std::vector<std::string>& profiles) {
    for (Argument const& a : args) {
        if (!a.present)
            continue;
        if (!a.parsed) {
            if (a.text.find("profile") != std::string::npos)
                return false;
            continue;
        }
        if (a.parsed->type() == pocketjson::Type::Object && a.parsed->contains("profile"))
            profiles.push_back((*a.parsed)["profile"].toString(""));
    }
    return true;
}

Answer callResource(std::size_t index, Text const (&texts)[4]) {
    Resource const& resource = resources[index];
    Argument const args[4] = {viewOf(texts[0]), viewOf(texts[1]), viewOf(texts[2]),
                              viewOf(texts[3])};
    currentStep() = describe(resource, args);
    Marks const before = marksNow();
    int const promise = resource.function(args[0].present ? args[0].text.c_str() : nullptr,
                                          args[1].present ? args[1].text.c_str() : nullptr,
                                          args[2].present ? args[2].text.c_str() : nullptr,
                                          args[3].present ? args[3].text.c_str() : nullptr);

    // Exactly one answer, for the promise handed back.
    check(SimPageBridgeResponseCount() == before.responses + 1,
          "not exactly one answer: " +
              std::to_string(SimPageBridgeResponseCount() - before.responses));
    std::vector<sim::Response> const recorded = sim::host::responses(before.responses);
    check(recorded.size() == 1, "the answer cannot be read back");
    Answer answer;
    answer.status = recorded[0].statusCode;
    answer.json = recorded[0].json;
    check(recorded[0].promiseId == promise,
          "the answer settles promise " + std::to_string(recorded[0].promiseId) +
              " but the call returned " + std::to_string(promise));
    if (verbose)
        std::fprintf(stderr, "%s\n  -> %d %s\n", currentStep().c_str(), answer.status,
                     shown(answer.json).c_str());

    // The answer: UTF-8 JSON, {"error":null,"value":...} exactly for 200, otherwise an error
    // object with a message and a name, and a null value.
    check(sim::host::IsStrictUtf8(answer.json), "the answer is not UTF-8: " + shown(answer.json));
    pocketjson::Parser parser;
    pocketjson::Value parsed;
    check(parser.parse(answer.json, parsed),
          "the answer is not JSON (" + parser.error() + "): " + shown(answer.json));
    check(parsed.type() == pocketjson::Type::Object && parsed.size() == 2 &&
              parsed.contains("error") && parsed.contains("value"),
          "the answer is not {error, value}: " + shown(answer.json));
    pocketjson::Value const& error = parsed["error"];
    answer.value = parsed["value"];
    if (answer.status == 200) {
        check(error.isNull(), "status 200 with an error: " + shown(answer.json));
    } else {
        check(error.type() == pocketjson::Type::Object,
              "status " + std::to_string(answer.status) +
                  " without an error object: " + shown(answer.json));
        check(error["message"].type() == pocketjson::Type::String &&
                  error["name"].type() == pocketjson::Type::String &&
                  !error["name"].stringValue().empty(),
              "an error without a message and a name: " + shown(answer.json));
        check(answer.value.isNull(), "an error with a value: " + shown(answer.json));
    }

    // An argument beyond the limits is refused with 400 before any handler runs; otherwise a
    // method the resource does not serve answers 405.
    bool refused = false;
    bool limitsKnown = true;
    for (Argument const& a : args) {
        refused = refused || a.limits == Limits::Beyond;
        limitsKnown = limitsKnown && a.limits != Limits::Unknown;
    }
    std::optional<char> const method = methodLetter(args[0]);
    if (refused)
        check(answer.status == 400 && error["name"].toString("") == "BadRequestError",
              "an argument beyond the request limits answered " + std::to_string(answer.status) +
                  ": " + shown(answer.json));
    else if (limitsKnown && method && std::strchr(resource.methods, *method) == nullptr)
        check(answer.status == 405 && error["name"].toString("") == "MethodError",
              std::string(methodName(*method)) + " is not served by " + resource.name +
                  " but answered " + std::to_string(answer.status) + ": " + shown(answer.json));

    // Exactly one request line, which agrees with the answer.
    auto const lines = requestLinesSince(before.lines);
    check(lines.size() == 1, "not exactly one request log line: " + std::to_string(lines.size()));
    std::string const& line = lines.front().second;
    std::string const start = "statusCode:" + std::to_string(answer.status) + "\tmethod:";
    check(line.compare(0, start.size(), start) == 0,
          "the log line does not start with the answer's status: " + shown(line));
    bool const success = answer.status >= 200 && answer.status <= 299;
    check(lines.front().first == (success ? 0 : 3),
          "log level " + std::to_string(lines.front().first) + " for status " +
              std::to_string(answer.status));
    if (method) {
        std::string const expected = start + methodName(*method) + "\turi:/tolma/";
        check(line.compare(0, expected.size(), expected) == 0,
              "the log line does not name the method " + std::string(methodName(*method)) + ": " +
                  shown(line));
    }

    // Files removed: only by a DELETE that got past the limits, and only the profile it named.
    std::vector<std::string> const removed = removalsSince(before.removals);
    for (std::string const& r : removed) {
        if (verbose)
            std::fprintf(stderr, "  recorded instead of done: %s\n", shown(r).c_str());
    }
    if (!removed.empty()) {
        check(!refused,
              "a request refused by the limits removed a file: " + shown(removed.front()));
        check(!method || *method == 'D', std::string("a ") + methodName(method.value_or('G')) +
                                             " request removed a file: " + shown(removed.front()));
        std::vector<std::string> profiles;
        if (profilesNamed(args, profiles)) {
            for (std::string const& r : removed) {
                bool named = false;
                std::string const path = r.substr(r.find(':') + 1);
                for (std::string const& p : profiles)
                    named = named || path == p;
                check(named, "removed a file the request did not name: " + shown(r));
            }
        }
    }
    checkAlways();
    return answer;
}

// ---- Decoding -----------------------------------------------------------------------------------

// A field may reach just past the plug-in's argument limit (kMaxArgumentBytes, 16 MiB).
constexpr std::size_t kFieldLimit = kMaxArgumentBytes + 1024;             // bytes per decoded field
constexpr std::size_t kInputLimit = kFieldLimit + (std::size_t{4} << 20); // per input
constexpr std::size_t kStepLimit = 24;

class Decoder {
public:
    // Expands the escapes of one field; `budget` is what the input may still decode.
    static std::string expand(std::string const& field, std::size_t& budget) {
        std::string out;
        std::size_t pos = 0;
        std::size_t const limit = budget < kFieldLimit ? budget : kFieldLimit;
        expandInto(field, pos, out, limit, false);
        budget -= out.size();
        return out;
    }

private:
    static int hexDigit(char c) {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }

    // One unit at pos: a byte, an escape or a group (which ends at "%>" when inGroup).
    // Returns false at the end of the text or of the group.
    static bool unit(std::string const& text, std::size_t& pos, std::string& out, std::size_t limit,
                     bool inGroup) {
        if (pos >= text.size())
            return false;
        if (text[pos] != '%' || pos + 1 >= text.size()) {
            if (out.size() < limit)
                out += text[pos];
            ++pos;
            return true;
        }
        char const next = text[pos + 1];
        if (next == '>' && inGroup) {
            pos += 2;
            return false;
        }
        if (next == '%') {
            if (out.size() < limit)
                out += '%';
            pos += 2;
            return true;
        }
        if (next == '<') {
            pos += 2;
            expandInto(text, pos, out, limit, true);
            return true;
        }
        if (next == '*') {
            std::size_t p = pos + 2;
            std::size_t count = 0;
            while (p < text.size() && text[p] >= '0' && text[p] <= '9') {
                if (count < kFieldLimit)
                    count = count * 10 + static_cast<std::size_t>(text[p] - '0');
                ++p;
            }
            if (p >= text.size() || text[p] != '*') {
                if (out.size() < limit)
                    out += '%';
                ++pos;
                return true;
            }
            pos = p + 1;
            std::string once;
            std::size_t const after = pos;
            if (!unit(text, pos, once, limit, inGroup)) {
                pos = after;
                return pos < text.size();
            }
            for (std::size_t i = 0; i < count && out.size() + once.size() <= limit; ++i)
                out += once;
            return true;
        }
        int const high = hexDigit(next);
        int const low = pos + 2 < text.size() ? hexDigit(text[pos + 2]) : -1;
        if (high >= 0 && low >= 0) {
            if (out.size() < limit)
                out += static_cast<char>(high * 16 + low);
            pos += 3;
            return true;
        }
        if (out.size() < limit)
            out += '%';
        ++pos;
        return true;
    }

    static void expandInto(std::string const& text, std::size_t& pos, std::string& out,
                           std::size_t limit, bool inGroup) {
        while (unit(text, pos, out, limit, inGroup)) {
        }
    }
};

std::vector<std::string> split(std::string const& text, char separator) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        std::size_t const end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

std::uint32_t hashOf(std::string const& text) {
    std::uint32_t h = 2166136261u;
    for (char c : text)
        h = (h ^ static_cast<unsigned char>(c)) * 16777619u;
    return h;
}

// The entry named exactly, or the one the text's hash picks.
template <typename Entry, std::size_t N>
std::size_t pick(Entry const (&entries)[N], std::string const& name) {
    for (std::size_t i = 0; i < N; ++i) {
        if (name == entries[i].name)
            return i;
    }
    return hashOf(name) % N;
}

std::size_t pickLibraryFunction(std::string const& name) {
    for (std::size_t i = 0; i < kLibraryFunctionCount; ++i) {
        if (name == libraryFunctions[i])
            return i;
    }
    return hashOf(name) % kLibraryFunctionCount;
}

long numberOr(std::string const& text, long fallback) {
    if (text.empty())
        return fallback;
    errno = 0;
    char* end = nullptr;
    long const n = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || end == text.c_str())
        return fallback;
    return n;
}

// ---- The state between inputs -------------------------------------------------------------------

std::uint64_t cleanWorldGeneration = 0;

std::string const& libraryDirectory() {
    static std::string const directory = sim::host::standInDirectory();
    return directory;
}

void callExtra(std::size_t index) {
    Extra const& extra = extras[index];
    currentStep() = std::string("host ") + extra.name;
    Marks const before = marksNow();
    extra.run(extra.symbol);
    checkQuietStep(before);
}

// Back to the state after loading: no watch, no screen list, the default world, no failures,
// nothing recorded, the host's Setup called. Run after each input, so that what the input made
// is freed within it (libFuzzer takes more allocations than releases for a possible leak).
void resetAfterInput() {
    SimWorldClearFailures();
    SimHostSetExportsPath(libraryDirectory().c_str());
    extras[kExtraTearDown].run(extras[kExtraTearDown].symbol);
    while (!backups().empty())
        extras[kExtraTolmaRestorePowerManagementSettings].run(
            extras[kExtraTolmaRestorePowerManagementSettings].symbol);
    std::string const release = R"({"method":"delete"})";
    resources[kResourceScreens].function(release.c_str(), "{}", "{}", nullptr);
    if (SimWorldGeneration() != cleanWorldGeneration) {
        SimWorldReset();
        cleanWorldGeneration = SimWorldGeneration();
    }
    SimPageBridgeReset();
    SimOstranaReset();
    SimScrinfoResetCounts();
    SimOrmicResetCounts();
    eventsChecked = 0;
    {
        std::lock_guard<std::mutex> const held(removalMutex());
        removals().clear();
        removals().shrink_to_fit();
    }
    extras[kExtraSetup].run(extras[kExtraSetup].symbol);
}

// ---- Steps --------------------------------------------------------------------------------------

Text argumentField(std::vector<std::string> const& fields, std::size_t at, std::size_t& budget,
                   bool options) {
    if (at >= fields.size() || fields[at] == "~")
        return std::nullopt;
    std::string text = Decoder::expand(fields[at], budget);
    if (options && !text.empty() && text[0] == '@') {
        // The method as a JSON string: quotes and backslashes escaped, other bytes as they are.
        std::string method;
        for (std::size_t i = 1; i < text.size(); ++i) {
            if (text[i] == '"' || text[i] == '\\')
                method += '\\';
            method += text[i];
        }
        text = R"({"method":")" + method + R"("})";
    }
    return text;
}

void profileRoundTrip(std::vector<std::string> const& fields, std::size_t& budget) {
    Text const parameters = argumentField(fields, 1, budget, false);
    std::string const profile =
        fields.size() > 2 ? Decoder::expand(fields[2], budget) : std::string("\"\"");
    Text const put[4] = {std::string(R"({"method":"put"})"), parameters, std::string("{}"),
                         R"({"profile":)" + profile + "}"};
    // A library call that fails drops its screen from the list and moves the indexes after it,
    // and a re-read between the two calls may list other screens: the read-back is compared
    // only when no failure is armed and the screen list stayed the same.
    bool failureArmed = false;
    for (char const* function : libraryFunctions)
        failureArmed = failureArmed || SimWorldPendingFailures(function) != 0;
    Answer const stored = callResource(kResourceScreenAtIndex, put);
    std::size_t const listings = SimScrinfoFindScreensCount();
    Text const get[4] = {std::string(R"({"method":"get"})"), parameters,
                         std::string(R"({"profile":true})"), std::nullopt};
    Answer const read = callResource(kResourceScreenAtIndex, get);
    // A profile that was stored reads back as it was sent.
    Argument const body = viewOf(put[3]);
    if (failureArmed || listings != SimScrinfoFindScreensCount() || stored.status != 200 ||
        read.status != 200 || !body.parsed ||
        (*body.parsed)["profile"].type() != pocketjson::Type::String)
        return;
    std::string const& sent = (*body.parsed)["profile"].stringValue();
    check(read.value.type() == pocketjson::Type::String && read.value.stringValue() == sent,
          "the profile stored as " + shown(sent) + " reads back as " + shown(read.json));
}

void runStep(std::string const& line, std::size_t& budget) {
    std::vector<std::string> const fields = split(line, '\t');
    if (fields.empty() || fields[0].empty())
        return;
    auto field = [&](std::size_t at) {
        return at < fields.size() ? Decoder::expand(fields[at], budget) : std::string();
    };
    Marks const before = marksNow();
    switch (fields[0][0]) {
    case 'c': {
        std::size_t const index = pick(resources, fields.size() > 1 ? fields[1] : std::string());
        Text const args[4] = {
            argumentField(fields, 2, budget, true), argumentField(fields, 3, budget, false),
            argumentField(fields, 4, budget, false), argumentField(fields, 5, budget, false)};
        callResource(index, args);
        return;
    }
    case 'p':
        profileRoundTrip(fields, budget);
        return;
    case 'h':
        callExtra(pick(extras, fields.size() > 1 ? fields[1] : std::string()));
        return;
    case 'w': {
        std::string const json = field(1);
        currentStep() = "world " + shown(json);
        SimWorldLoad(json.c_str());
        break;
    }
    case 's': {
        std::string const json = field(1);
        currentStep() = "screens " + shown(json);
        SimWorldSetScreens(json.c_str());
        break;
    }
    case 'm': {
        std::string const json = field(1);
        currentStep() = "merge " + shown(json);
        SimWorldPatch(json.c_str());
        break;
    }
    case 'r':
        currentStep() = "reset";
        SimWorldReset();
        break;
    case 'f': {
        char const* const function =
            libraryFunctions[pickLibraryFunction(fields.size() > 1 ? fields[1] : std::string())];
        long count = numberOr(field(2), 1);
        if (count < 0)
            count = SIM_WORLD_FAIL_ALWAYS;
        if (count > 64)
            count = 64;
        currentStep() = std::string("fail ") + function + " " + std::to_string(count);
        SimWorldFailCalls(function, static_cast<std::int32_t>(count));
        break;
    }
    case 'e': {
        long const offset = numberOr(field(1), 0);
        currentStep() = "event " + std::to_string(offset & 1);
        SimWorldDeliverScreenEvent(static_cast<std::uint8_t>(offset & 1));
        break;
    }
    case 'x': {
        long const choice = numberOr(field(1), 0);
        currentStep() = "exports " + std::to_string(choice & 3);
        switch (choice & 3) {
        case 0:
            SimHostSetExportsPath(libraryDirectory().c_str());
            break;
        case 1:
            SimHostSetExportsPathNull();
            break;
        case 2:
            SimHostSetExportsPath("");
            break;
        default:
            SimHostSetExportsPath("/nonexistent/tolma-exports");
            break;
        }
        break;
    }
    default:
        return;
    }
    checkQuietStep(before);
}

void loadPlugin() {
    plugin = new sim::host::Plugin();
    if (!plugin->open(TOLMA_PLUGIN_PATH)) {
        std::fprintf(stderr, "bridge_fuzz: cannot open %s: %s\n", TOLMA_PLUGIN_PATH,
                     plugin->error().c_str());
        std::abort();
    }
    for (Resource& r : resources) {
        r.function = plugin->resource(r.name);
        if (r.function == nullptr) {
            std::fprintf(stderr, "bridge_fuzz: %s is not exported\n", r.name);
            std::abort();
        }
    }
    for (Extra& e : extras) {
        e.symbol = plugin->symbol(e.name);
        if (e.symbol == nullptr) {
            std::fprintf(stderr, "bridge_fuzz: %s is not exported\n", e.name);
            std::abort();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The exports directory is set before the plug-in's logger first looks for its library.
    SimHostSetExportsPath(libraryDirectory().c_str());
    // Power settings and login items that inputs request stay off this machine's desktop; the
    // sandbox lives as long as the process.
    static sim::host::DesktopSandbox const sandbox;
    verbose = std::getenv("BRIDGE_FUZZ_VERBOSE") != nullptr;
    SimOstranaSetEcho(verbose ? 1 : 0);
    loadPlugin();
    extras[kExtraSetup].run(extras[kExtraSetup].symbol);
    // One listing while the exports directory holds the stand-ins, so that the logger and the
    // run-time libraries are found before any input can hide the directory: every input then
    // starts from the same state.
    std::string const list = R"({"method":"get"})";
    resources[kResourceScreens].function(list.c_str(), "{}", "{}", nullptr);
    cleanWorldGeneration = SimWorldGeneration();
    resetAfterInput();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (plugin == nullptr)
        LLVMFuzzerInitialize(nullptr, nullptr);
    std::string const script(reinterpret_cast<char const*>(data), size);
    std::size_t budget = kInputLimit;
    std::size_t steps = 0;
    for (std::string const& line : split(script, '\n')) {
        if (steps == kStepLimit)
            break;
        if (line.empty())
            continue;
        runStep(line, budget);
        ++steps;
    }
    currentStep() = "end of input";
    checkAlways();
    resetAfterInput();
    currentStep().clear();
    currentStep().shrink_to_fit();
    return 0;
}
