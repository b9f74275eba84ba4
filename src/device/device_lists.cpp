// The device change event: the payload's compact text handed to the host.
#include "device/device_lists.h"

#include "json/serializer.h"
#include "platform/pagebridge.h"

namespace kavri::device {

void DispatchDeviceChangeEvent(char const* name, pocketjson::Value added,
                               pocketjson::Value removed) {
    pocketjson::Value payload(pocketjson::Type::Object);
    payload["added"] = std::move(added);
    payload["removed"] = std::move(removed);
    std::string text;
    // Device lists hold strings and integers only, which always serialize.
    pocketjson::Serializer::serialize(text, payload);
    BridgeHelperDispatchEvent(name, text.c_str());
}

} // namespace kavri::device
