// The JSON of a screen: sizes, colours, gamma ramps and the graphics card driving it.
#pragma once

#include "json/value.h"
#include "platform/scrinfo2.h"

#include <string>

namespace kavri {

// The colour record of the screen-information library.
using colour = MiColor;

// An object whose keys are the component letters of `space`: "CMYK" gives C, M, Y, K; any other
// text gives, per character, R G B X Y Z x y L a b C h (reals) and T (an integer); other
// characters add nothing.
pocketjson::Value ToJson(colour const& value, std::string const& space);

namespace screen {

// {"width": integer, "height": integer}
pocketjson::Value ToJson(MiSize const& size);

} // namespace screen

namespace bridge {

// {"red", "green", "blue"}: 256 reals each. Throws 500 "Failed to get screen gamma." when the
// library cannot read the ramps. The caller holds the screen manager's lock.
pocketjson::Value GetScreenGamma(MiScreen* screen);
// The adapter that drives the screen: name, vendor, driverName, driverVersion, vram and, when
// the library has it, deviceLocationId; an empty object when the library knows no adapter. The
// caller holds the screen manager's lock.
pocketjson::Value GetScreenGraphicsCard(MiScreen* screen);

} // namespace bridge

} // namespace kavri
