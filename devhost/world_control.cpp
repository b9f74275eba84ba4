// The host's world commands (load, plug, unplug, screens, failing calls) and the world's controls.
#include "devhost/world_control.h"

#include "devhost/host_error.h"

#include <algorithm>

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
        char const* const usage = "world load FILE | world default | world show | world patch JSON";
        if (second == "load" || second == "patch")
            expectWords(words, 3, 3, usage);
        else if (second == "default" || second == "show")
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

[[noreturn]] void notInThisBuild(std::string const& what) {
    throw HostError(what + ": not available in this build (it has no simulated world)");
}

} // namespace

bool worldAvailable() {
    return false;
}

bool isWorldCommand(std::string const& word) {
    return word == "world" || word == "plug" || word == "unplug" || word == "screens" ||
           word == "fail";
}

void loadWorldFile(std::string const&) {
    notInThisBuild("--world");
}

void runWorldCommand(std::vector<std::string> const& words) {
    if (words.empty())
        throw UsageError("empty world command");
    notInThisBuild(checkShape(words));
}

} // namespace tolmahost
