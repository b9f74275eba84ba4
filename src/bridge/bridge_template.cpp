// The request cycle: argument parsing, method selection, handler protection and the answer.
#include "bridge/bridge_template.h"

#include "json/parser.h"
#include "json/serializer.h"
#include "platform/pagebridge.h"

#include <cstring>

namespace {

using pocketjson::Value;

enum class Method : unsigned {
    Get = kBridgeGet,
    Put = kBridgePut,
    Post = kBridgePost,
    Delete = kBridgeDelete,
};

std::string lowerAscii(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

Method selectMethod(Value const& options) {
    std::string const method = lowerAscii(BridgeTemplate::methodText(options));
    if (method == "post")
        return Method::Post;
    if (method == "put")
        return Method::Put;
    if (method == "delete")
        return Method::Delete;
    return Method::Get;
}

// How many times `c` occurs in `text`, counting no further than `cap`. memchr skips the long runs
// between brackets, so a body of numbers or text costs a few vector scans, not a loop per byte.
std::size_t countUpTo(char const* text, std::size_t size, char c, std::size_t cap) {
    std::size_t found = 0;
    char const* const end = text + size;
    for (char const* p = text; found < cap && p != end; ++found) {
        p = static_cast<char const*>(std::memchr(p, c, static_cast<std::size_t>(end - p)));
        if (p == nullptr)
            break;
        ++p;
    }
    return found;
}

// Whether the arrays and objects of `text` open deeper than `limit`. Brackets inside strings do
// not count; text after the value the parser would stop at does, which only ever refuses more.
// Nesting deeper than `limit` takes more than `limit` opening brackets, so texts with fewer are
// answered by counting them; only the others are walked byte by byte.
bool nestsDeeperThan(char const* text, std::size_t size, std::size_t limit) {
    std::size_t const arrays = countUpTo(text, size, '[', limit + 1);
    if (arrays + countUpTo(text, size, '{', limit + 1 - arrays) <= limit)
        return false;
    std::size_t depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < size; ++i) {
        char const c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > limit)
                return true;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return false;
}

// Parses one argument into its field, unless it lies beyond the limits: then the field stays
// null and `refusal` says why (the first refused argument wins). A malformed argument never
// fails the request: the field keeps what the parser produced.
void parseArgument(pocketjson::Parser& parser, char const* text, char const* ordinal,
                   Value& field, std::string& refusal) {
    if (text == nullptr)
        return;
    std::size_t const size = strnlen(text, kMaxArgumentBytes + 1);
    char const* problem = nullptr;
    if (size > kMaxArgumentBytes)
        problem = " argument is too large.";
    else if (nestsDeeperThan(text, size, kMaxArgumentDepth))
        problem = " argument is nested too deeply.";
    if (problem == nullptr) {
        parser.parse(text, size, field);
    } else if (refusal.empty()) {
        refusal = std::string(ordinal) + problem;
    }
}

} // namespace

char const* const BridgeTemplate::kUnknownErrorAnswer =
    "{\"error\":{\"message\":\"Unknown error "
    "occurred.\",\"name\":\"UnknownError\"},\"value\":null}";

std::string BridgeTemplate::methodText(Value const& options) {
    if (!options.contains("method"))
        return std::string();
    return options["method"].toString("");
}

// The answer object has the members "error" and "value", written in that (key) order; the error
// is the detail with "name" and "message" set in it, or just those two when the detail is not an
// object (setting a member makes any other value an empty object first).
bool BridgeTemplate::answerText(BridgeResult const& result, std::string& text) {
    text.clear();
    if (!result.isError()) {
        text += "{\"error\":null";
    } else if (result.error.detail.type() == pocketjson::Type::Object) {
        Value error = result.error.detail;
        error["name"] = Value(result.error.name);
        error["message"] = Value(result.error.message);
        text += "{\"error\":";
        if (!pocketjson::Serializer::serialize(text, error))
            return false;
    } else {
        text += "{\"error\":{\"message\":";
        pocketjson::Serializer::serialize_string(text, result.error.message);
        text += ",\"name\":";
        pocketjson::Serializer::serialize_string(text, result.error.name);
        text += '}';
    }
    text += ",\"value\":";
    if (!pocketjson::Serializer::serialize(text, result.value))
        return false;
    text += '}';
    return true;
}

BridgeResult BridgeTemplate::execute(char const* a1, char const* a2, char const* a3,
                                     char const* a4) {
    BridgeData data;
    std::string refusal;
    {
        pocketjson::Parser parser;
        parseArgument(parser, a1, "1st", data.options, refusal);
        parseArgument(parser, a2, "2nd", data.parameters, refusal);
        parseArgument(parser, a3, "3rd", data.query, refusal);
        parseArgument(parser, a4, "4th", data.body, refusal);
    }
    if (refusal.empty() && data.body.isNull() && a4 != nullptr && *a4 != '\0')
        data.body = Value(std::string(a4));

    Method const method = selectMethod(data.options);
    onBeginBridge(data);

    BridgeResult result;
    if (refusal.empty() && (defaultMethods_ & static_cast<unsigned>(method)) != 0) {
        result = methodNotAllowed(static_cast<unsigned>(method));
        onEndBridge(data, result);
        return result;
    }
    try {
        BridgeCheckRequestCondition(refusal.empty(), refusal);
        switch (method) {
        case Method::Get:
            result = Get(data);
            break;
        case Method::Put:
            result = Put(data);
            break;
        case Method::Post:
            result = Post(data);
            break;
        case Method::Delete:
            result = Delete(data);
            break;
        }
    } catch (BridgeResultError const& error) {
        result = error;
    } catch (...) {
        result =
            BridgeResultError(BridgeStatusInternalError, "UnknownError", "Unknown error occurred.");
    }
    onEndBridge(data, result);
    return result;
}

int BridgeTemplate::operator()(char const* a1, char const* a2, char const* a3,
                               char const* a4) noexcept {
    std::int32_t const promiseId = BridgeHelperCreatePromiseID();
    // The one catch site outside the handlers: onBeginBridge, the log and the answer building
    // may still fail (an exception, or memory running out); the host then gets 500.
    try {
        BridgeResult const result = execute(a1, a2, a3, a4);
        std::string text;
        if (answerText(result, text)) {
            BridgeHelperSetResponse(promiseId, result.statusCode, text.c_str());
            return promiseId;
        }
    } catch (...) {
    }
    BridgeHelperSetResponse(promiseId, BridgeStatusInternalError, kUnknownErrorAnswer);
    return promiseId;
}

void BridgeTemplate::onBeginBridge(BridgeData const&) {}

void BridgeTemplate::onEndBridge(BridgeData const&, BridgeResult const&) {}

BridgeResultError BridgeTemplate::methodNotAllowed(unsigned method) {
    char const* message = "GET method is not allowed.";
    if (method == kBridgePut)
        message = "PUT method is not allowed.";
    else if (method == kBridgePost)
        message = "POST method is not allowed.";
    else if (method == kBridgeDelete)
        message = "DELETE method is not allowed.";
    return BridgeResultError(BridgeStatusMethodNotAllowed, "MethodError", message);
}

BridgeResult BridgeTemplate::Get(BridgeData const&) {
    throw methodNotAllowed(kBridgeGet);
}

BridgeResult BridgeTemplate::Put(BridgeData const&) {
    throw methodNotAllowed(kBridgePut);
}

BridgeResult BridgeTemplate::Post(BridgeData const&) {
    throw methodNotAllowed(kBridgePost);
}

BridgeResult BridgeTemplate::Delete(BridgeData const&) {
    throw methodNotAllowed(kBridgeDelete);
}

int ServeUnbuildableRequest() noexcept {
    std::int32_t const promiseId = BridgeHelperCreatePromiseID();
    BridgeHelperSetResponse(promiseId, BridgeStatusInternalError,
                            BridgeTemplate::kUnknownErrorAnswer);
    return promiseId;
}
