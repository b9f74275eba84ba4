// The JSON of a graphics adapter, shared by SystemInformation and the screen resources.
#pragma once

#include "json/value.h"
#include "platform/ormic.h"

namespace kavri::system {

// {"name", "vendor", "driverName", "driverVersion", "vram"} and, when the library has
// OrmGetVGADeviceLocationID, "deviceLocationId"; sizes in the library's units.
pocketjson::Value GraphicsCardJson(OrmVGA* vga);

} // namespace kavri::system
