// Change-notification switches called by Setup and TearDown.
#include "notification/device_notification.h"

namespace kavri::notification {

void RegisterSystemChangeNotification() {}

void UnregisterSystemChangeNotification() {}

// No device-change watcher is started by this build yet, so there is nothing to stop.
void UnregisterDeviceChangeNotification() {}

} // namespace kavri::notification
