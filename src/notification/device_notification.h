// The DeviceNotification resource and the change-notification switches used at start and stop.
#pragma once

#include "bridge/bridge.h"

namespace kavri::bridge {

// GET: whether hot-plug watching is available (the 3rd argument must hold "supports"); PUT:
// switches it on and answers what changed since the managers last looked, without events;
// DELETE: switches it off.
class DeviceNotification : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
    BridgeResult Put(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

} // namespace kavri::bridge

namespace kavri::notification {

// Nothing to watch for system changes on this platform; kept for the start and stop sequence.
void RegisterSystemChangeNotification();
void UnregisterSystemChangeNotification();

} // namespace kavri::notification
