// Inside the world library: the JSON form's reader, writer and merge patch over pocketjson values.
#pragma once

#include "json/value.h"
#include "sim/world/world.h"

#include <stdexcept>
#include <string>

namespace sim {
namespace json {

// A bad member; what() is "<JSON path>: <problem>".
class BadWorld : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class Section {
    Screens,
    ScreenConfiguration, // the screens without profiles and gamma ramps
    Monitors,
    Sensors,
    SerialSensors,
    LightingDevices,
    System,
    Display,
};

// Throw BadWorld.
void readWorld(pocketjson::Value const& document, WorldData& out);
Screen readScreen(pocketjson::Value const& v, std::string const& path);
Monitor readMonitor(pocketjson::Value const& v, std::string const& path);
Sensor readSensor(pocketjson::Value const& v, std::string const& path);
SerialSensor readSerialSensor(pocketjson::Value const& v, std::string const& path);
LightingDevice readLightingDevice(pocketjson::Value const& v, std::string const& path);

pocketjson::Value worldValue(WorldData const& world);
pocketjson::Value sectionValue(WorldData const& world, Section section);
pocketjson::Value screenValue(Screen const& screen, bool withProfileAndGamma);

// RFC 7386: objects merge member by member, a null member removes, anything else replaces.
pocketjson::Value mergePatch(pocketjson::Value const& target, pocketjson::Value const& patch);

// "" on success; otherwise "<what> is not valid JSON: <parser message>".
std::string parse(std::string const& text, pocketjson::Value& out, char const* what);
std::string write(pocketjson::Value const& value, bool pretty);

} // namespace json
} // namespace sim
