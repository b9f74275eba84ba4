// The four screen resources of the page bridge.
#pragma once

#include "bridge/bridge.h"

namespace kavri::bridge {

class Screens : public Bridge {};
class ScreenAtIndex : public Bridge {};
class ScreensForMonitor : public Bridge {};
class ScreensForPoint : public Bridge {};

} // namespace kavri::bridge
