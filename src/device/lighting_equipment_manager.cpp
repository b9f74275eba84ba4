// LightingEquipmentManager: kind-16 devices of the run-time monitor-control library, and changes.
#include "device/lighting_equipment_manager.h"

#include "device/device_lists.h"
#include "loader/loaders.h"

#include <memory>

namespace kavri::device {

namespace {

constexpr char const* kLightingChangedEvent = "lightingEquipmentChanged";

constexpr std::uint64_t kMaxStringBytes = 1 << 20;

bool succeeded(std::int32_t status) {
    return status >= 0 || status == VQ_STATUS_PARTIAL;
}

// A light whose product and serial can be read; false for a device to skip.
bool readLight(VqDevice* handle, Light& light) {
    light.hidHandle = handle;
    return GetString(handle, VQ_CODE_PRODUCT, &light.product) == 0 &&
           GetString(handle, VQ_CODE_SERIAL, &light.serial) == 0;
}

} // namespace

pocketjson::Value ConvertLightArrayToJsonArray(std::vector<Light> const& lights) {
    return SerialProductArrayToJson(lights);
}

std::int32_t GetString(VqDevice* handle, std::uint16_t code, std::string* out) {
    libdispctlLoader& library = libdispctlLoader::loader();
    auto getFixedData = KAVRI_LOOKUP(library, VqGetFixedData);
    if (getFixedData == nullptr)
        return kGetStringFailed;
    std::uint8_t info0 = 0;
    std::uint64_t info1 = 0;
    std::uint64_t info2 = 0;
    std::uint8_t info3 = 1;
    std::uint64_t length = 0;
    std::int32_t status = getFixedData(handle, VQ_PAGE_FIXED, code, &info0, &info1, &info2,
                                       &info3, &length);
    // A length no device string has (a broken library) fails like none, instead of allocating it.
    if (!succeeded(status) || length == 0 || length > kMaxStringBytes)
        return kGetStringFailed;
    auto getFeatureArray = KAVRI_LOOKUP(library, VqGetFeatureArray);
    if (getFeatureArray == nullptr)
        return kGetStringFailed;
    // One zero byte more than the item, so the text always ends.
    std::unique_ptr<std::uint8_t[]> buffer(new std::uint8_t[length + 1]());
    status = getFeatureArray(handle, VQ_PAGE_FIXED, code, buffer.get(), length);
    if (!succeeded(status))
        return status;
    std::string text(reinterpret_cast<char const*>(buffer.get()));
    std::size_t const end = text.find_last_not_of(' ');
    // Only blanks (or nothing) is kept as it is.
    if (end != std::string::npos)
        text.erase(end + 1);
    *out = std::move(text);
    return 0;
}

// Never destroyed, like the other device managers.
LightingEquipmentManager& LightingEquipmentManager::Instance() {
    static LightingEquipmentManager* const instance = new LightingEquipmentManager();
    return *instance;
}

LightingEquipmentManager::LightingEquipmentManager() {
    std::lock_guard<std::recursive_mutex> const held(mutex_);
    lights = getCurrentLightsWithoutUpdate();
}

std::vector<Light> LightingEquipmentManager::getCurrentLightsWithoutUpdate() const {
    libdispctlLoader& library = libdispctlLoader::loader();
    std::vector<Light> current;
    for (std::uint32_t index = 0;; ++index) {
        auto retrieve = KAVRI_REQUIRE(library, VqRetrieveEx);
        VqDevice* handle = nullptr;
        if (retrieve(VQ_KIND_LIGHTING, index, &handle) < 0)
            break;
        Light light;
        if (readLight(handle, light))
            current.push_back(std::move(light));
    }
    return current;
}

void LightingEquipmentManager::update(std::vector<Light>* added, std::vector<Light>* removed) {
    std::vector<Light> before;
    std::vector<Light> after;
    {
        std::lock_guard<std::recursive_mutex> const held(mutex_);
        before = lights;
        if (auto search = KAVRI_LOOKUP(libdispctlLoader::loader(), VqUpdateEx))
            search(VQ_KIND_LIGHTING);
        lights = getCurrentLightsWithoutUpdate();
        after = lights;
    }
    // No sensor library here: an unplugged lighting device leaves nothing to forget.
    CollectChanges(kLightingChangedEvent, CompareDeviceLists(before, after, SameSerialProduct<Light>),
                   added, removed, SerialProductLogName<Light>, [](Light const&) {});
}

void LightingEquipmentManager::dispatchLightChangeEvent(std::vector<Light> const& added,
                                                        std::vector<Light> const& removed) {
    if (added.empty() && removed.empty())
        return;
    DispatchDeviceChangeEvent(kLightingChangedEvent, ConvertLightArrayToJsonArray(added),
                              ConvertLightArrayToJsonArray(removed));
}

void LightingEquipmentManager::updateAndDispatchEvent() {
    std::vector<Light> added;
    std::vector<Light> removed;
    update(&added, &removed);
    dispatchLightChangeEvent(added, removed);
}

} // namespace kavri::device
