// A graphics adapter as the page sees it, read through the system-information library.
#include "system/graphics_card.h"

#include "loader/loaders.h"
#include "system/system_text.h"

#include <cstdint>

namespace kavri::system {

pocketjson::Value GraphicsCardJson(OrmVGA* vga) {
    pocketjson::Value card(pocketjson::Type::Object);
    card["name"] = LibraryText(OrmGetVGAName(vga));
    card["vendor"] = LibraryText(OrmGetVGAVendor(vga));
    card["driverName"] = LibraryText(OrmGetVGADriverName(vga));
    card["driverVersion"] = LibraryText(OrmGetVGADriverVersion(vga));
    card["vram"] = static_cast<std::int64_t>(OrmGetVGAVRAMSize(vga));
    if (auto location = KAVRI_LOOKUP(ormicLoader::loader(), OrmGetVGADeviceLocationID))
        card["deviceLocationId"] = location(vga);
    return card;
}

} // namespace kavri::system
