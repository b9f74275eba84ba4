// The console's JSON API without the transport: requests read from JSON, answers and events as JSON.
#include "devhost/console_api.h"

#include "devhost/console_assets.h"
#include "devhost/interpreter.h"
#include "json/parser.h"
#include "json/serializer.h"
#include "sim/host/plugin.h"

#include <cctype>
#include <cstdio>

namespace tolmahost::console {

namespace {

constexpr int kBadRequest = 400;
constexpr int kNotFound = 404;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Walks the text of a value that the JSON parser accepted, to find where values end.
class Scanner {
public:
    explicit Scanner(std::string const& text) : text_(text) {}

    std::size_t position() const { return at_; }
    bool atEnd() const { return at_ >= text_.size(); }
    char peek() const { return atEnd() ? '\0' : text_[at_]; }
    void skipBlanks() {
        while (!atEnd() && isBlank(text_[at_]))
            ++at_;
    }
    bool take(char c) {
        skipBlanks();
        if (peek() != c)
            return false;
        ++at_;
        return true;
    }

    // Moves past one string, the opening quote at the current position.
    void skipString() {
        ++at_;
        while (!atEnd() && text_[at_] != '"')
            at_ += text_[at_] == '\\' ? 2u : 1u;
        ++at_;
    }

    // Moves past one value of any kind.
    void skipValue() {
        skipBlanks();
        if (peek() == '"') {
            skipString();
            return;
        }
        if (peek() != '{' && peek() != '[') {
            while (!atEnd() && !isBlank(text_[at_]) && text_[at_] != ',' && text_[at_] != '}' &&
                   text_[at_] != ']')
                ++at_;
            return;
        }
        std::size_t depth = 0;
        while (!atEnd()) {
            char const c = text_[at_];
            if (c == '"') {
                skipString();
                continue;
            }
            ++at_;
            if (c == '{' || c == '[')
                ++depth;
            else if ((c == '}' || c == ']') && --depth == 0)
                return;
        }
    }

private:
    std::string const& text_;
    std::size_t at_ = 0;
};

pocketjson::Value parsed(std::string const& text, bool& ok) {
    pocketjson::Value value;
    pocketjson::Parser parser;
    ok = parser.parse(text, value);
    return value;
}

std::string serialized(pocketjson::Value const& value) {
    std::string text;
    if (!pocketjson::Serializer::serialize(text, value))
        return "null";
    return text;
}

// The value of a JSON text, or null when the text is not JSON.
pocketjson::Value valueOrNull(std::string const& text) {
    bool ok = false;
    pocketjson::Value value = parsed(text, ok);
    return ok ? value : pocketjson::Value();
}

Member const* find(std::vector<Member> const& members, char const* key) {
    for (Member const& member : members) {
        if (member.key == key)
            return &member;
    }
    return nullptr;
}

std::string methodWord(char letter) {
    switch (letter) {
    case 'G':
        return "get";
    case 'U':
        return "put";
    case 'P':
        return "post";
    case 'D':
        return "delete";
    default:
        return std::string(1, letter);
    }
}

std::string lowered(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

std::vector<Member> objectMembers(std::string const& text) {
    bool ok = false;
    pocketjson::Value const whole = parsed(text, ok);
    if (!ok || whole.type() != pocketjson::Type::Object)
        throw ApiError(kBadRequest, "the request is not a JSON object");
    std::vector<Member> members;
    Scanner scanner(text);
    scanner.take('{');
    while (!scanner.take('}') && !scanner.atEnd()) {
        scanner.skipBlanks();
        std::size_t const keyStart = scanner.position();
        scanner.skipString();
        pocketjson::Value const key = valueOrNull(text.substr(keyStart, scanner.position() - keyStart));
        scanner.take(':');
        scanner.skipBlanks();
        std::size_t const valueStart = scanner.position();
        scanner.skipValue();
        Member member{key.toString(""), text.substr(valueStart, scanner.position() - valueStart)};
        if (find(members, member.key.c_str()) == nullptr)
            members.push_back(std::move(member));
        scanner.take(',');
    }
    return members;
}

std::string argumentText(std::string const& rawValue) {
    if (!rawValue.empty() && rawValue[0] == '"')
        return valueOrNull(rawValue).toString("");
    std::string compact;
    compact.reserve(rawValue.size());
    bool inString = false;
    for (std::size_t i = 0; i < rawValue.size(); ++i) {
        char const c = rawValue[i];
        if (inString) {
            compact += c;
            if (c == '\\' && i + 1 < rawValue.size())
                compact += rawValue[++i];
            else if (c == '"')
                inString = false;
        } else if (!isBlank(c)) {
            compact += c;
            inString = c == '"';
        }
    }
    return compact;
}

CallRequest callRequestFrom(std::string const& body) {
    std::vector<Member> const members = objectMembers(body);
    for (Member const& member : members) {
        static char const* const known[] = {"resource", "method", "params", "query", "body",
                                            "options"};
        bool isKnown = false;
        for (char const* name : known)
            isKnown = isKnown || member.key == name;
        if (!isKnown)
            throw ApiError(kBadRequest, "unknown member '" + member.key +
                                            "' (resource, method, params, query, body, options)");
    }
    Member const* const resource = find(members, "resource");
    if (resource == nullptr || resource->rawValue.empty() || resource->rawValue[0] != '"')
        throw ApiError(kBadRequest, "'resource' must be the name of a resource");
    CallRequest request;
    request.resource = argumentText(resource->rawValue);
    if (!sim::host::isResource(request.resource))
        throw ApiError(kNotFound, "unknown resource '" + request.resource + "'");

    Member const* const method = find(members, "method");
    Member const* const options = find(members, "options");
    if (method != nullptr && (method->rawValue.empty() || method->rawValue[0] != '"'))
        throw ApiError(kBadRequest, "'method' must be a string (get, put, post, delete)");
    if (options != nullptr) {
        request.options = argumentText(options->rawValue);
    } else {
        pocketjson::Value value(pocketjson::Type::Object);
        value["method"] = pocketjson::Value(method != nullptr ? argumentText(method->rawValue)
                                                              : std::string("get"));
        request.options = serialized(value);
    }
    auto const argument = [&members](char const* key) {
        Member const* const member = find(members, key);
        return member != nullptr ? argumentText(member->rawValue) : std::string();
    };
    request.parameters = argument("params");
    request.query = argument("query");
    request.body = argument("body");
    return request;
}

std::string callResultJson(CallResult const& result) {
    pocketjson::Value out(pocketjson::Type::Object);
    out["status"] = pocketjson::Value(result.answer.statusCode);
    out["answer"] = valueOrNull(result.answer.json);
    out["answerText"] = pocketjson::Value(result.answer.json);
    pocketjson::Value log(pocketjson::Type::Array);
    for (sim::LogLine const& line : result.logLines) {
        pocketjson::Value entry(pocketjson::Type::Object);
        entry["name"] = pocketjson::Value(line.name);
        entry["level"] = pocketjson::Value(line.level);
        entry["line"] = pocketjson::Value(line.line);
        log.push_back(entry);
    }
    out["log"] = log;
    out["milliseconds"] = pocketjson::Value(result.milliseconds);
    out["brokenRules"] = pocketjson::Value(static_cast<std::uint64_t>(result.brokenRules));
    return serialized(out);
}

std::vector<std::string> worldCommandFrom(std::string const& body) {
    std::vector<Member> const members = objectMembers(body);
    Member const* const command = find(members, "command");
    if (command == nullptr || members.size() != 1)
        throw ApiError(kBadRequest, R"(a world request is {"command": "WORDS" or ["WORD", ...]})");
    pocketjson::Value const value = valueOrNull(command->rawValue);
    std::vector<std::string> words;
    if (value.type() == pocketjson::Type::String) {
        try {
            words = splitWords(value.stringValue());
        } catch (std::exception const& error) {
            throw ApiError(kBadRequest, error.what());
        }
    } else if (value.type() == pocketjson::Type::Array) {
        for (pocketjson::Value const& word : value.arrayItems()) {
            if (word.type() != pocketjson::Type::String)
                throw ApiError(kBadRequest, "every word of 'command' must be a string");
            words.push_back(word.stringValue());
        }
    } else {
        throw ApiError(kBadRequest, "'command' must be a string or an array of strings");
    }
    if (words.empty())
        throw ApiError(kBadRequest, "'command' is empty");
    return words;
}

std::string eventJson(StreamedEvent const& event) {
    pocketjson::Value out(pocketjson::Type::Object);
    out["number"] = pocketjson::Value(event.number);
    out["name"] = pocketjson::Value(event.event.name);
    out["time"] = pocketjson::Value(event.unixMilliseconds);
    out["payload"] = valueOrNull(event.event.json);
    out["payloadText"] = pocketjson::Value(event.event.json);
    return serialized(out);
}

std::string resourcesJson(std::vector<bool> const& exported, std::vector<bool> const& extraExported) {
    pocketjson::Value out(pocketjson::Type::Object);
    pocketjson::Value list(pocketjson::Type::Array);
    std::vector<sim::host::ResourceRow> const& rows = sim::host::resources();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        pocketjson::Value entry(pocketjson::Type::Object);
        entry["name"] = pocketjson::Value(rows[i].name);
        pocketjson::Value methods(pocketjson::Type::Array);
        for (char const* letter = rows[i].methods; *letter != '\0'; ++letter)
            methods.push_back(pocketjson::Value(methodWord(*letter)));
        entry["methods"] = methods;
        entry["exported"] = pocketjson::Value(i < exported.size() && exported[i]);
        list.push_back(entry);
    }
    out["resources"] = list;
    pocketjson::Value extras(pocketjson::Type::Array);
    std::vector<std::string> const& names = sim::host::extraFunctionNames();
    for (std::size_t i = 0; i < names.size(); ++i) {
        pocketjson::Value entry(pocketjson::Type::Object);
        entry["name"] = pocketjson::Value(names[i]);
        entry["exported"] = pocketjson::Value(i < extraExported.size() && extraExported[i]);
        extras.push_back(entry);
    }
    out["extraFunctions"] = extras;
    Asset const* const table = findAsset("/input-table.md");
    out["inputTable"] =
        pocketjson::Value(table != nullptr ? std::string(table->data, table->size) : "");
    return serialized(out);
}

std::string errorJson(std::string const& message) {
    pocketjson::Value out(pocketjson::Type::Object);
    out["error"] = pocketjson::Value(message);
    return serialized(out);
}

bool isLoopbackHost(std::string const& host, int port) {
    std::string name = lowered(host);
    int given = 80; // no port: the scheme's own
    std::size_t const colon = name.rfind(':');
    if (colon != std::string::npos && name.find(']', colon) == std::string::npos) {
        if (name.substr(colon + 1) != std::to_string(port))
            return false;
        given = port;
        name.resize(colon);
    }
    return given == port && (name == "127.0.0.1" || name == "localhost" || name == "[::1]");
}

bool isLoopbackOrigin(std::string const& origin, int port) {
    std::string const scheme = "http://";
    return origin.compare(0, scheme.size(), scheme) == 0 &&
           isLoopbackHost(origin.substr(scheme.size()), port);
}

} // namespace tolmahost::console
