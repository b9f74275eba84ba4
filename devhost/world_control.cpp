// The host's world commands (load, plug, unplug, screens, failing calls) and the world's controls.
#include "devhost/world_control.h"

#include "devhost/command_line.h"
#include "devhost/host_error.h"
#include "json/parser.h"
#include "sim/sim_control.h"

#include <charconv>
#include <limits>

namespace tolmahost {

namespace {

struct DeviceKind {
    char const* word;       // in the host's commands
    char const* collection; // in the world
};

DeviceKind const kDeviceKinds[] = {
    {"monitor", "monitors"},
    {"sensor", "sensors"},
    {"serial-sensor", "serialSensors"},
    {"lighting", "lightingDevices"},
};

char const* collectionOf(std::string const& word) {
    for (DeviceKind const& kind : kDeviceKinds) {
        if (word == kind.word)
            return kind.collection;
    }
    return nullptr;
}

void expectWords(std::vector<std::string> const& words, std::size_t least, std::size_t most,
                 char const* usage) {
    if (words.size() < least || words.size() > most)
        throw UsageError(std::string("usage: ") + usage);
}

// Checks the shape of a world command and returns its name for messages ("plug", "world load").
std::string checkShape(std::vector<std::string> const& words) {
    std::string const& command = words[0];
    std::string const second = words.size() > 1 ? words[1] : "";
    if (command == "world") {
        char const* const usage =
            "world load FILE | world default | world list | world show | world patch JSON";
        if (second == "load" || second == "patch")
            expectWords(words, 3, 3, usage);
        else if (second == "default" || second == "list" || second == "show")
            expectWords(words, 2, 2, usage);
        else
            throw UsageError(std::string("usage: ") + usage);
        return command + " " + second;
    }
    if (command == "plug" || command == "unplug") {
        std::string const usage = command + " monitor|sensor|serial-sensor|lighting ID";
        expectWords(words, 3, 3, usage.c_str());
        if (collectionOf(second) == nullptr)
            throw UsageError("unknown device kind '" + second + "'; usage: " + usage);
        return command;
    }
    if (command == "screens") {
        char const* const usage = "screens change JSON | screens event";
        if (second == "change")
            expectWords(words, 3, 3, usage);
        else if (second == "event")
            expectWords(words, 2, 2, usage);
        else
            throw UsageError(std::string("usage: ") + usage);
        return command + " " + second;
    }
    if (command == "fail") {
        expectWords(words, 2, 3, "fail FUNCTION [COUNT|always] | fail clear");
        if (second == "clear" && words.size() != 2)
            throw UsageError("usage: fail clear");
        return command;
    }
    throw UsageError("unknown world command '" + command + "'");
}

#if TOLMAHOST_HAS_WORLD

// A control's answer: NULL is success, anything else the world's one-line reason.
void check(std::string const& what, char const* message) {
    if (message != nullptr)
        throw HostError(what + ": " + message);
}

std::string said(std::string const& text) {
    return "world: " + text;
}

std::int32_t failureCount(std::string const& text) {
    if (text == "always")
        return SIM_WORLD_FAIL_ALWAYS;
    std::int32_t count = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), count);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size() ||
        count < 0)
        throw UsageError("fail: '" + text + "' is not a count (0 to " +
                         std::to_string(std::numeric_limits<std::int32_t>::max()) + ") or always");
    return count;
}

std::string text(pocketjson::Value const& v) {
    return v.toString("");
}

std::string integer(pocketjson::Value const& v) {
    return std::to_string(v.toInt64(0));
}

std::string attachedWord(pocketjson::Value const& item) {
    return item["attached"].isNull() || item["attached"].toBool(true) ? "attached" : "detached";
}

// One line per screen and device of the world.
std::string worldSummary() {
    pocketjson::Value world;
    pocketjson::Parser parser;
    char const* const document = SimWorldText(0);
    if (document == nullptr || !parser.parse(document, world))
        throw HostError("world list: the world's document does not parse");
    std::string out;
    auto line = [&out](std::string const& text) { out += (out.empty() ? "" : "\n") + text; };
    for (pocketjson::Value const& screen : world["screens"].arrayItems()) {
        pocketjson::Value const& bounds = screen["bounds"];
        std::string const& product = text(screen["edid"]["productName"]);
        line("screen " + text(screen["id"]) + " " + integer(bounds["width"]) + "x" +
             integer(bounds["height"]) + " at " + integer(bounds["x"]) + "," +
             integer(bounds["y"]) + (screen["primary"].toBool(false) ? ", primary" : "") +
             (product.empty() ? "" : ", " + product));
    }
    for (pocketjson::Value const& monitor : world["monitors"].arrayItems()) {
        pocketjson::Value const& sensor = monitor["sensor"];
        line("monitor " + text(monitor["serial"]) + " " + text(monitor["product"]) + ", " +
             attachedWord(monitor) +
             (sensor.isNull() ? "" : ", built-in sensor " + integer(sensor["deviceId"])));
    }
    for (pocketjson::Value const& sensor : world["sensors"].arrayItems())
        line("sensor " + integer(sensor["deviceId"]) + " " + text(sensor["name"]) + ", " +
             attachedWord(sensor));
    for (pocketjson::Value const& sensor : world["serialSensors"].arrayItems())
        line("serial-sensor " + integer(sensor["deviceId"]) + " " + text(sensor["name"]) + ", " +
             attachedWord(sensor));
    for (pocketjson::Value const& device : world["lightingDevices"].arrayItems())
        line("lighting " + text(device["serial"]) + " " + text(device["product"]) + ", " +
             attachedWord(device));
    return out.empty() ? "an empty world" : out;
}

#endif

} // namespace

bool isWorldCommand(std::string const& word) {
    return word == "world" || word == "plug" || word == "unplug" || word == "screens" ||
           word == "fail";
}

#if TOLMAHOST_HAS_WORLD

void loadWorldFile(std::string const& path) {
    check(path, SimWorldLoadFile(path.c_str()));
}

std::string runWorldCommand(std::vector<std::string> const& words) {
    if (words.empty())
        throw UsageError("empty world command");
    std::string const what = checkShape(words);
    std::string const& command = words[0];
    if (what == "world load") {
        check(words[2], SimWorldLoadFile(words[2].c_str()));
        return said("loaded " + words[2]);
    } else if (what == "world default") {
        SimWorldReset();
        return said("the default world, no failing calls");
    } else if (what == "world list") {
        return worldSummary();
    } else if (what == "world show") {
        char const* const document = SimWorldText(1);
        return document != nullptr ? document : "";
    } else if (what == "world patch") {
        check(what, SimWorldPatch(jsonArgument(what, words[2]).c_str()));
        return said("patched");
    } else if (command == "plug" || command == "unplug") {
        bool const plug = command == "plug";
        check(command + " " + words[1] + " " + words[2],
              SimWorldSetAttached(collectionOf(words[1]), words[2].c_str(), plug ? 1 : 0));
        return said(words[1] + " " + words[2] + (plug ? " plugged in" : " unplugged"));
    } else if (what == "screens change") {
        check(what, SimWorldSetScreens(jsonArgument(what, words[2]).c_str()));
        return said("screens changed");
    } else if (what == "screens event") {
        std::size_t const reached = SimWorldDeliverScreenEvent(0);
        return said("screen-change event delivered to " + std::to_string(reached) + " callback(s)");
    } else if (words[1] == "clear") {
        SimWorldClearFailures();
        return said("no failing calls");
    } else {
        std::int32_t const count = words.size() == 3 ? failureCount(words[2]) : 1;
        SimWorldFailCalls(words[1].c_str(), count);
        return said(count == SIM_WORLD_FAIL_ALWAYS ? "every call of " + words[1] + " fails"
            : count == 0
                ? words[1] + " no longer fails"
                : "the next " + std::to_string(count) + " call(s) of " + words[1] + " fail");
    }
}

#else

namespace {

[[noreturn]] void notInThisBuild(std::string const& what) {
    throw HostError(what + ": not available in this build (it has no simulated world)");
}

} // namespace

void loadWorldFile(std::string const&) {
    notInThisBuild("--world");
}

std::string runWorldCommand(std::vector<std::string> const& words) {
    if (words.empty())
        throw UsageError("empty world command");
    notInThisBuild(checkShape(words));
}

#endif

} // namespace tolmahost
