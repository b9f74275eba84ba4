// The screen resources: selection by resource, then the shared Get, Put and Delete methods.
#include "screen/screens.h"

#include "screen/screen_description.h"
#include "screen/screen_manager.h"
#include "screen/screen_parameters.h"
#include "screen/screen_watch.h"

#include <cstdint>
#include <string>

namespace kavri::bridge {

namespace {

using pocketjson::Value;
using screen::ScreenManager;

enum class Reading { Profile, Gamma, GraphicsCard, Description };

Reading readingFor(Value const& data) {
    if (data.contains("profile"))
        return Reading::Profile;
    if (data.contains("gamma"))
        return Reading::Gamma;
    if (data.contains("graphicsCard"))
        return Reading::GraphicsCard;
    return Reading::Description;
}

Value readScreen(MiScreen* screen, Reading reading) {
    ScreenManager& manager = ScreenManager::Instance();
    switch (reading) {
    case Reading::Profile: {
        std::string path;
        BridgeCheckError(manager.getScreenProfile(screen, path), "Failed to get screen profile.");
        return Value(path);
    }
    case Reading::Gamma:
        return GetScreenGamma(screen);
    case Reading::GraphicsCard:
        return GetScreenGraphicsCard(screen);
    case Reading::Description:
        break;
    }
    return manager.getScreenInfo(screen);
}

// Copies a ramp of exactly 256 numbers; false for anything else.
bool readRamp(Value const& ramp, double (&out)[256]) {
    Value::Array const& items = ramp.arrayItems();
    if (ramp.type() != pocketjson::Type::Array || items.size() != 256)
        return false;
    for (std::size_t i = 0; i < 256; ++i) {
        pocketjson::Type const t = items[i].type();
        if (t != pocketjson::Type::Integer && t != pocketjson::Type::Double)
            return false;
        out[i] = items[i].toDouble(0.0);
    }
    return true;
}

// A page may go straight to one screen: the library's list is read once before the first
// selection. Later refreshes come from Screens and from the screen-change watcher.
void listScreensOnce(ScreenManager& manager) {
    if (manager.empty())
        manager.update();
}

// A fresh list, the watch switched on, and the list as the baseline of later changes.
void listAndWatchScreens(ScreenManager& manager) {
    manager.update();
    screen::WatchScreenChanges();
    manager.storeCurrentScreens();
}

void requireFound(std::vector<MiScreen*> const& screens) {
    if (screens.empty())
        throw BridgeResultError(BridgeStatusNotFound, "NotFoundError", "screen is not found.");
}

MiScreen* selectAtIndex(BridgeData const& data, std::string& uri) {
    Value const& selector = data.parameters["index"];
    uri += "Screens/" + Bridge::uriText(screen::SelectorText(selector));
    ScreenManager& manager = ScreenManager::Instance();
    listScreensOnce(manager);
    std::vector<MiScreen*> const screens = manager.getScreens();
    std::uint32_t const index = screen::ReadScreenIndex(selector);
    BridgeCheckRequestCondition(index < screens.size(), "index is invalid.");
    return screens[index];
}

std::vector<MiScreen*> selectForMonitor(BridgeData const& data, std::string& uri) {
    std::string const product = data.parameters["product"].toString("");
    std::string const serial = data.parameters["serial"].toString("");
    uri += "Screens/" + Bridge::uriText(product) + "/" + Bridge::uriText(serial);
    BridgeCheckPageText(product, "product");
    BridgeCheckPageText(serial, "serial");
    ScreenManager& manager = ScreenManager::Instance();
    listScreensOnce(manager);
    std::vector<MiScreen*> screens = manager.getScreensForMonitor(product, serial);
    requireFound(screens);
    return screens;
}

std::vector<MiScreen*> selectForPoint(BridgeData const& data, std::string& uri) {
    Value const& selector = data.parameters["point"];
    uri += "Screens/" + Bridge::uriText(screen::SelectorText(selector));
    int x = 0;
    int y = 0;
    BridgeCheckRequestCondition(screen::ReadScreenPoint(selector.toString(""), x, y),
                                "point is invalid.");
    ScreenManager& manager = ScreenManager::Instance();
    listScreensOnce(manager);
    std::vector<MiScreen*> screens = manager.getScreensForPoint(x, y);
    requireFound(screens);
    return screens;
}

} // namespace

Value ScreensGetMethod(std::vector<MiScreen*> const& screens, Value const& data) {
    Reading const reading = readingFor(data);
    Value all(pocketjson::Type::Array);
    all.reserve(screens.size());
    for (MiScreen* screen : screens)
        all.push_back(readScreen(screen, reading));
    return all;
}

BridgeResult ScreensPutMethod(std::vector<MiScreen*> const& screens, Value const& data) {
    ScreenManager& manager = ScreenManager::Instance();
    bool const setsProfile = data.contains("profile");
    bool const setsGamma = data.contains("gamma");
    if (setsProfile) {
        std::string const path = data["profile"].toString("");
        BridgeCheckPageText(path, "profile");
        bool done = true;
        for (MiScreen* screen : screens)
            done = manager.setScreenProfile(screen, path) && done;
        BridgeCheckError(done, "Failed to set screen profile.");
    }
    if (setsGamma) {
        Value const& gamma = data["gamma"];
        double red[256];
        double green[256];
        double blue[256];
        BridgeCheckRequestCondition(readRamp(gamma["red"], red), "gamma.red is invalid size.");
        BridgeCheckRequestCondition(readRamp(gamma["green"], green),
                                    "gamma.green is invalid size.");
        BridgeCheckRequestCondition(readRamp(gamma["blue"], blue), "gamma.blue is invalid size.");
        bool done = true;
        for (MiScreen* screen : screens)
            done = manager.setScreenGamma(screen, &red, &green, &blue) && done;
        BridgeCheckError(done, "Failed to set screen gamma.");
    }
    BridgeCheckRequestCondition(setsProfile || setsGamma, "data must contains profile or gamma.");
    return BridgeResultOK(Value());
}

BridgeResult ScreensDeleteMethod(std::vector<MiScreen*> const& screens, Value const& data) {
    if (data.type() != pocketjson::Type::Object || !data.contains("profile"))
        return BridgeResultOK(Value());
    ScreenManager& manager = ScreenManager::Instance();
    std::string const path = data["profile"].toString("");
    BridgeCheckPageText(path, "profile");
    bool done = true;
    for (MiScreen* screen : screens)
        done = manager.removeScreenProfile(screen, path) && done;
    BridgeCheckError(done, "Failed to remove screen profile.");
    return BridgeResultOK(Value());
}

// Each handler keeps the manager's lock from selection to answer, so that a refresh on the
// screen-change watcher's thread cannot end the handles it is using.

BridgeResult Screens::Get(BridgeData const& data) {
    uri += "Screens";
    ScreenManager& manager = ScreenManager::Instance();
    ScreenManager::Lock const held = manager.lock();
    if (manager.empty())
        listAndWatchScreens(manager);
    return BridgeResultOK(ScreensGetMethod(manager.getScreens(), data.query));
}

BridgeResult Screens::Put(BridgeData const&) {
    uri += "Screens";
    ScreenManager& manager = ScreenManager::Instance();
    ScreenManager::Lock const held = manager.lock();
    listAndWatchScreens(manager);
    return BridgeResultOK(ScreensGetMethod(manager.getScreens(), Value()));
}

BridgeResult Screens::Delete(BridgeData const&) {
    uri += "Screens";
    ScreenManager::Instance().release();
    screen::UnwatchScreenChanges();
    return BridgeResultOK(Value());
}

BridgeResult ScreenAtIndex::Get(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    MiScreen* screen = selectAtIndex(data, uri);
    return BridgeResultOK(readScreen(screen, readingFor(data.query)));
}

BridgeResult ScreenAtIndex::Put(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return ScreensPutMethod({selectAtIndex(data, uri)}, data.body);
}

BridgeResult ScreenAtIndex::Delete(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return ScreensDeleteMethod({selectAtIndex(data, uri)}, data.query);
}

BridgeResult ScreensForMonitor::Get(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return BridgeResultOK(ScreensGetMethod(selectForMonitor(data, uri), data.query));
}

BridgeResult ScreensForMonitor::Put(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return ScreensPutMethod(selectForMonitor(data, uri), data.body);
}

BridgeResult ScreensForMonitor::Delete(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return ScreensDeleteMethod(selectForMonitor(data, uri), data.query);
}

BridgeResult ScreensForPoint::Get(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return BridgeResultOK(ScreensGetMethod(selectForPoint(data, uri), data.query));
}

BridgeResult ScreensForPoint::Put(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return ScreensPutMethod(selectForPoint(data, uri), data.body);
}

BridgeResult ScreensForPoint::Delete(BridgeData const& data) {
    ScreenManager::Lock const held = ScreenManager::Instance().lock();
    return ScreensDeleteMethod(selectForPoint(data, uri), data.query);
}

} // namespace kavri::bridge
