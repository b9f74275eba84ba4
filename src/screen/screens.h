// The four screen resources of the page bridge and the methods they share.
#pragma once

#include "bridge/bridge.h"
#include "platform/scrinfo2.h"

#include <vector>

namespace kavri::bridge {

// Where a screen request's members come from: selectors ("index", "point", "product", "serial")
// in the 2nd argument, options of Get and Delete ("profile", "gamma", "graphicsCard") in the 3rd,
// the content of Put ("profile", "gamma") in the 4th.

// All screens. Get lists them (first refreshing the list and starting the screen-change watch
// when the library lists none); Put refreshes, starts the watch and lists; Delete releases the
// list and stops the watch.
class Screens : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
    BridgeResult Put(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

// The screen at "index"; Get answers one value, not an array.
class ScreenAtIndex : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
    BridgeResult Put(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

// The screens shown on the monitor named by "product" and "serial".
class ScreensForMonitor : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
    BridgeResult Put(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

// The screens containing the desktop point "point" ("XxY").
class ScreensForPoint : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
    BridgeResult Put(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

// The shared methods over selected screens; the caller holds the screen manager's lock.
// Get: an array with, per screen, its profile path, gamma, graphics card or description, by the
// first of "profile", "gamma", "graphicsCard" that `data` holds.
pocketjson::Value ScreensGetMethod(std::vector<MiScreen*> const& screens,
                                   pocketjson::Value const& data);
// Put: sets "profile" and then "gamma" on every screen; one of them is required.
BridgeResult ScreensPutMethod(std::vector<MiScreen*> const& screens,
                              pocketjson::Value const& data);
// Delete: with "profile", unsets every screen's profile and deletes that file; else nothing.
BridgeResult ScreensDeleteMethod(std::vector<MiScreen*> const& screens,
                                 pocketjson::Value const& data);

} // namespace kavri::bridge
