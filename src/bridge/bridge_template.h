// BridgeTemplate: the request cycle from four C strings to one settled promise.
#pragma once

#include "bridge/bridge_result.h"
#include "json/value.h"

#include <cstddef>
#include <string>
#include <type_traits>

// The request record: one parsed value per argument of the exported function.
struct BridgeData {
    pocketjson::Value options;    // 1st argument: request options, "method" among them
    pocketjson::Value parameters; // 2nd argument: selectors of the resource (path parameters)
    pocketjson::Value query;      // 3rd argument: options of the request
    pocketjson::Value body;       // 4th argument: content; raw text when it is not JSON
};

// What one argument may bring. Larger or deeper text is refused with 400 "BadRequestError"
// ("4th argument is too large.", "2nd argument is nested too deeply.") before it is parsed, inside
// the normal cycle: one promise, one answer, one log line, and no handler runs.
constexpr std::size_t kMaxArgumentBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxArgumentDepth = 1000;

// The four methods as bits, e.g. for the methods whose operation a resource leaves as it is.
enum BridgeMethodBits : unsigned {
    kBridgeGet = 1,
    kBridgePut = 2,
    kBridgePost = 4,
    kBridgeDelete = 8,
};

// Base of every resource. The four method operations answer 405 "MethodError" unless a resource
// overrides them.
class BridgeTemplate {
public:
    virtual ~BridgeTemplate() = default;

    // The 405 that the default operation of `method` (one of the bits) throws.
    static BridgeResultError methodNotAllowed(unsigned method);

    // Methods (bits) whose operation is this class's default. The request cycle answers them with
    // methodNotAllowed() without calling the operation: the result, the answer and the log line
    // are those of the operation's throw, without the cost of unwinding. Serve() sets it from the
    // resource's type; left at 0, every operation is called.
    void setDefaultMethods(unsigned methods) { defaultMethods_ = methods; }

    // Takes a promise id from the host, runs execute() and settles the promise with the JSON
    // answer; returns the promise id. Whatever fails on the way, the promise is settled exactly
    // once (500 "UnknownError" when nothing better is known) and no exception leaves.
    int operator()(char const* a1, char const* a2, char const* a3, char const* a4) noexcept;

    // Parses the arguments, selects the method and runs it; handler exceptions become results.
    virtual BridgeResult execute(char const* a1, char const* a2, char const* a3, char const* a4);
    virtual void onBeginBridge(BridgeData const& data);
    virtual void onEndBridge(BridgeData const& data, BridgeResult const& result);
    virtual BridgeResult Get(BridgeData const& data);
    virtual BridgeResult Put(BridgeData const& data);
    virtual BridgeResult Post(BridgeData const& data);
    virtual BridgeResult Delete(BridgeData const& data);

    // The answer text for a result: {"error":null,"value":V} or
    // {"error":{...detail...,"message":M,"name":N},"value":V}. False when the value cannot be
    // written (a NaN or infinite double).
    static bool answerText(BridgeResult const& result, std::string& text);
    // The "method" member of the options as text: strings as they are, booleans, integers and
    // doubles as JSON writes them, anything else (or no member) empty.
    static std::string methodText(pocketjson::Value const& options);

    // The answer of a request that failed outside any handler.
    static char const* const kUnknownErrorAnswer;

private:
    unsigned defaultMethods_ = 0;
};

// The methods whose operation `Resource` leaves as BridgeTemplate's: a member named in a class that
// does not declare it has the type of the base class's member.
template <typename Resource>
constexpr unsigned BridgeDefaultMethods() {
    using Default = BridgeResult (BridgeTemplate::*)(BridgeData const&);
    return (std::is_same_v<decltype(&Resource::Get), Default> ? kBridgeGet : 0u) |
           (std::is_same_v<decltype(&Resource::Put), Default> ? kBridgePut : 0u) |
           (std::is_same_v<decltype(&Resource::Post), Default> ? kBridgePost : 0u) |
           (std::is_same_v<decltype(&Resource::Delete), Default> ? kBridgeDelete : 0u);
}

// The exported functions' last guard: builds the resource and runs its request cycle; if even the
// resource cannot be built, a promise is still created and settled with 500 "UnknownError".
int ServeUnbuildableRequest() noexcept;

template <typename Resource>
int Serve(char const* a1, char const* a2, char const* a3, char const* a4) noexcept {
    try {
        Resource resource;
        resource.setDefaultMethods(BridgeDefaultMethods<Resource>());
        return resource(a1, a2, a3, a4);
    } catch (...) {
        return ServeUnbuildableRequest();
    }
}
