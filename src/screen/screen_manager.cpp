// The screen manager: listing, profiles, gamma ramps and the "screenChanged" event.
#include "screen/screen_manager.h"

#include "bridge/tolma_logger.h"
#include "fs/files.h"
#include "fs/path.h"
#include "json/serializer.h"
#include "platform/pagebridge.h"

#include <algorithm>
#include <cstdint>

namespace kavri::screen {

namespace {

constexpr char const* kScreenChangedEvent = "screenChanged";

// One listing walk: `count` entries fetched by index, null handles left out.
template <typename Fetch>
std::vector<MiScreen*> listScreens(std::uint32_t count, Fetch fetch) {
    std::vector<MiScreen*> screens;
    for (std::uint32_t i = 0; i != count; ++i) {
        if (MiScreen* screen = fetch(i))
            screens.push_back(screen);
    }
    return screens;
}

} // namespace

ScreenManager& ScreenManager::Instance() {
    static ScreenManager instance;
    return instance;
}

ScreenManager::ScreenManager() = default;

ScreenManager::~ScreenManager() {
    try {
        release();
    } catch (...) {
        // A lock that cannot be taken at exit leaves the list to the library's own unloading.
    }
}

ScreenManager::Lock ScreenManager::lock() {
    return Lock(mutex_);
}

void ScreenManager::update() {
    Lock const held(mutex_);
    MiFindScreens();
}

void ScreenManager::release() {
    Lock const held(mutex_);
    MiReleaseScreens();
}

bool ScreenManager::empty() const {
    return MiGetScreenCount() == 0;
}

bool ScreenManager::getScreenProfile(MiScreen* screen, std::string& path) {
    Lock const held(mutex_);
    std::uint32_t length = 0;
    if (MiGetScreenProfile(screen, nullptr, &length) == 0 || length == 0)
        return false;
    std::vector<char> buffer(length, '\0');
    if (MiGetScreenProfile(screen, buffer.data(), &length) == 0)
        return false;
    path.assign(buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0'));
    return true;
}

bool ScreenManager::setScreenProfile(MiScreen* screen, std::string const& path) {
    Lock const held(mutex_);
    return MiSetScreenProfile(screen, path.c_str()) != 0;
}

bool ScreenManager::removeScreenProfile(MiScreen* screen, std::string const& path) {
    Lock const held(mutex_);
    bool const unset = MiSetScreenProfile(screen, nullptr) != 0;
    if (!unset || path.empty())
        return unset;
    // The profile file may already be gone or be read-only; the profile is unset either way.
    fs::remove_file(fs::Path(path));
    return true;
}

bool ScreenManager::getScreenGamma(MiScreen* screen, double (*red)[256], double (*green)[256],
                                   double (*blue)[256]) {
    Lock const held(mutex_);
    return MiGetScreenGraphicsCardGamma(screen, red, green, blue) != 0;
}

bool ScreenManager::setScreenGamma(MiScreen* screen, double const (*red)[256],
                                   double const (*green)[256], double const (*blue)[256]) {
    Lock const held(mutex_);
    return MiSetScreenGraphicsCardGamma(screen, red, green, blue) != 0;
}

std::vector<MiScreen*> ScreenManager::getScreensForMonitor(std::string const& product,
                                                           std::string const& serial) {
    Lock const held(mutex_);
    return listScreens(MiGetScreenCountForMonitor(product.c_str(), serial.c_str()),
                       [&](std::uint32_t i) {
                           return MiGetScreenForMonitorAtIndex(product.c_str(), serial.c_str(), i);
                       });
}

std::vector<MiScreen*> ScreenManager::getScreens() {
    Lock const held(mutex_);
    return listScreens(MiGetScreenCount(), [](std::uint32_t i) { return MiGetScreenAtIndex(i); });
}

std::vector<MiScreen*> ScreenManager::getScreensForPoint(int x, int y) {
    Lock const held(mutex_);
    MiPoint const point = MiPointMake(x, y);
    return listScreens(MiGetScreenCountForPoint(point),
                       [&](std::uint32_t i) { return MiGetScreenForPointAtIndex(point, i); });
}

std::string ScreenManager::getScreensInfoString() {
    Lock const held(mutex_);
    pocketjson::Value all(pocketjson::Type::Array);
    for (MiScreen* screen : getScreens())
        all.push_back(getScreenInfo(screen));
    std::string text;
    // The library's doubles are finite; a description that still cannot be written counts as no
    // screens rather than as half a text.
    if (!pocketjson::Serializer::serialize(text, all))
        return "[]";
    return text;
}

void ScreenManager::storeCurrentScreens() {
    Lock const held(mutex_);
    storedScreensInfo = getScreensInfoString();
}

void ScreenManager::updateAndDispatchEvent() {
    std::lock_guard<std::mutex> const inOrder(dispatchMutex_);
    std::string info;
    {
        Lock const held(mutex_);
        update();
        info = getScreensInfoString();
        // No screen at all is a passing state (a mode change): the baseline stays, so the same
        // screens coming back are not a change.
        if (info == storedScreensInfo || info == "[]")
            return;
        storedScreensInfo = info;
    }
    TolmaLogger::Instance().logEvent(kScreenChangedEvent, "Screen changed");
    BridgeHelperDispatchEvent(kScreenChangedEvent, info.c_str());
}

} // namespace kavri::screen
