// The DeviceNotification resource and the change-notification switches used at start and stop.
#pragma once

#include "bridge/bridge.h"

namespace kavri::bridge {

class DeviceNotification : public Bridge {};

} // namespace kavri::bridge

namespace kavri::notification {

// Nothing to watch for system changes on this platform; kept for the start and stop sequence.
void RegisterSystemChangeNotification();
void UnregisterSystemChangeNotification();
// Stops the device-change watcher.
void UnregisterDeviceChangeNotification();

} // namespace kavri::notification
