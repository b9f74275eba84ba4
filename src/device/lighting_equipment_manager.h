// kavri::device::LightingEquipmentManager: the maker's lighting devices and their changes.
#pragma once

#include "json/value.h"
#include "platform/dispctl.h"

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace kavri::device {

// One lighting device; the same device when serial and product are equal.
struct Light {
    VqDevice* hidHandle = nullptr; // valid until the library's next search
    std::string serial;
    std::string product;
};

pocketjson::Value ConvertLightArrayToJsonArray(std::vector<Light> const& lights);

// The plug-in's own failure status of GetString.
constexpr std::int32_t kGetStringFailed = static_cast<std::int32_t>(0x80000007u);

// Reads the fixed-data string `code` of a device (1 product, 2 serial) into *out, trailing blanks
// removed; 0 on success, otherwise a negative status and *out unchanged. A missing library
// function, or a reported length above 1 MiB, fails the read.
std::int32_t GetString(VqDevice* handle, std::uint16_t code, std::string* out);

// Stores the last list. mutex_ guards it and the library's search and enumeration, from the copy
// of the old list to the copy of the new one; comparing, logging and the event run outside it.
class LightingEquipmentManager {
public:
    // Built on first use with the library's current list; a library without VqRetrieveEx throws
    // the loader's 404, and the next use tries again.
    static LightingEquipmentManager& Instance();

    std::vector<Light> getCurrentLightsWithoutUpdate() const;
    void update(std::vector<Light>* added, std::vector<Light>* removed);
    void dispatchLightChangeEvent(std::vector<Light> const& added,
                                  std::vector<Light> const& removed);
    void updateAndDispatchEvent();

private:
    LightingEquipmentManager();

    std::recursive_mutex mutex_;
    std::vector<Light> lights;
};

} // namespace kavri::device
