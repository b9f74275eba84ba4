// Stand-in for the screen-information library: the screen list of the simulated world.
#pragma GCC visibility push(default)
#include "platform/scrinfo2.h"
#include "sim/sim_control.h"
#pragma GCC visibility pop

#include "sim/world/world.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

// The list is a copy of the world's screens taken by MiFindScreens. Handles are tokens, not
// addresses: a fresh, never reused value per screen (and per EDID) and list, so that a handle from
// an earlier list is recognised as stale (answered with the "unknown" values and counted) instead
// of silently naming a screen of the new list. [L] strings live in the list's entries and are
// freed by the next MiFindScreens or MiReleaseScreens. Each list keeps maps from its screen and
// EDID tokens to entry positions, so that a handle costs the same whatever the number of screens.
//
// Locking: one mutex around the list; it is never held while the world is changed (the profile
// and gamma writers release it first), so a world change that delivers a native event into the
// plug-in cannot meet it. MiGetScreenCount reads an atomic and MiGetX11ScreenEventBase the world,
// so both are safe from any thread at any time.

namespace {

struct Entry {
    std::uintptr_t screenToken;
    std::uintptr_t edidToken; // 0 when the screen has no EDID
    sim::Screen screen;
};

struct State {
    std::mutex mutex;
    std::vector<Entry> list;
    std::unordered_map<std::uintptr_t, std::size_t> screenAt; // screen token -> list position
    std::unordered_map<std::uintptr_t, std::size_t> edidAt;   // EDID token -> list position
    std::atomic<std::uint32_t> count{0};
    std::uintptr_t nextToken = 0x5C2E000000010;
    std::size_t staleUses = 0;
    std::size_t findCalls = 0;
    std::atomic<std::uint32_t> findDelayMs{0};
};

State& state() {
    static State* const instance = new State;
    return *instance;
}

bool fails(char const* function) {
    return sim::world().shouldFail(function);
}

std::uintptr_t newToken(State& s) {
    std::uintptr_t const token = s.nextToken;
    s.nextToken += 0x10;
    return token;
}

// Replaces the list (under the state lock) and tells the world which handles are current.
void setList(State& s, std::vector<Entry> list) {
    std::vector<sim::ScreenHandle> handles;
    std::unordered_map<std::uintptr_t, std::size_t> screenAt;
    std::unordered_map<std::uintptr_t, std::size_t> edidAt;
    handles.reserve(list.size());
    screenAt.reserve(list.size());
    for (std::size_t i = 0; i != list.size(); ++i) {
        Entry const& e = list[i];
        handles.push_back(sim::ScreenHandle{reinterpret_cast<void const*>(e.screenToken),
                                            e.screen.id, e.screen.graphicsAdapter});
        screenAt.emplace(e.screenToken, i);
        if (e.edidToken != 0)
            edidAt.emplace(e.edidToken, i);
    }
    s.list = std::move(list);
    s.screenAt = std::move(screenAt);
    s.edidAt = std::move(edidAt);
    s.count.store(static_cast<std::uint32_t>(s.list.size()));
    sim::world().setScreenHandles(std::move(handles));
}

void reportStale(State& s, char const* function) {
    ++s.staleUses;
    std::fprintf(stderr, "scrinfo2 sim: %s with a handle that is not in the current list\n",
                 function);
}

// The entry of a screen handle, or nullptr (counted as a stale use unless NULL).
Entry* findScreen(State& s, MiScreen* screen, char const* function) {
    auto const found = s.screenAt.find(reinterpret_cast<std::uintptr_t>(screen));
    if (found != s.screenAt.end())
        return &s.list[found->second];
    if (screen != nullptr)
        reportStale(s, function);
    return nullptr;
}

sim::Edid const* findEdid(State& s, MiEdid* edid, char const* function) {
    auto const found = s.edidAt.find(reinterpret_cast<std::uintptr_t>(edid));
    if (found != s.edidAt.end())
        return &*s.list[found->second].screen.edid;
    if (edid != nullptr)
        reportStale(s, function);
    return nullptr;
}

// Reads one screen's member under the lock; `unknown` for an invalid handle or a failing call.
template <typename T, typename Read>
T readScreen(MiScreen* screen, char const* function, T unknown, Read read) {
    if (fails(function))
        return unknown;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    Entry const* e = findScreen(s, screen, function);
    return e != nullptr ? read(e->screen) : unknown;
}

template <typename T, typename Read>
T readEdid(MiEdid* edid, char const* function, T unknown, Read read) {
    if (fails(function))
        return unknown;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    sim::Edid const* e = findEdid(s, edid, function);
    return e != nullptr ? read(*e) : unknown;
}

bool onMonitor(sim::Screen const& screen, char const* product, char const* serial) {
    return product != nullptr && serial != nullptr && screen.edid &&
           screen.edid->productName == product && screen.edid->serialNumber == serial;
}

bool containsPoint(sim::Screen const& screen, MiPoint point) {
    sim::Rect const& b = screen.bounds;
    auto const x = static_cast<std::int64_t>(point.x);
    auto const y = static_cast<std::int64_t>(point.y);
    return x >= b.x && y >= b.y && x < static_cast<std::int64_t>(b.x) + b.width &&
           y < static_cast<std::int64_t>(b.y) + b.height;
}

// The index-th screen of the list that matches, as a handle; NULL when there is none.
template <typename Match>
MiScreen* nthScreen(char const* function, std::uint32_t index, Match match) {
    if (fails(function))
        return nullptr;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::uint32_t seen = 0;
    for (Entry const& e : s.list) {
        if (!match(e.screen))
            continue;
        if (seen++ == index)
            return reinterpret_cast<MiScreen*>(e.screenToken);
    }
    return nullptr;
}

template <typename Match>
std::uint32_t countScreens(char const* function, Match match) {
    if (fails(function))
        return 0;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return static_cast<std::uint32_t>(std::count_if(
        s.list.begin(), s.list.end(), [&](Entry const& e) { return match(e.screen); }));
}

// Writes a screen's profile or gamma into the world as well, so that the next list keeps it.
void writeBack(std::string const& screenId, void (*apply)(sim::Screen&, void const*),
               void const* value) {
    sim::world().update([&](sim::WorldData& w) {
        for (sim::Screen& screen : w.screens) {
            if (screen.id == screenId)
                apply(screen, value);
        }
    });
}

MiColor zeroColor() {
    MiColor c;
    std::memset(&c, 0, sizeof c);
    return c;
}

} // namespace

extern "C" {

void MiFindScreens(void) {
    State& s = state();
    if (std::uint32_t const delay = s.findDelayMs.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
    sim::Snapshot const w = sim::world().snapshot();
    bool const fail = fails("MiFindScreens"); // a failed search lists no screen
    std::lock_guard<std::mutex> lock(s.mutex);
    ++s.findCalls;
    std::vector<Entry> list;
    if (!fail) {
        for (sim::Screen const& screen : w->screens) {
            Entry e{newToken(s), 0, screen};
            if (screen.edid)
                e.edidToken = newToken(s);
            list.push_back(std::move(e));
        }
    }
    setList(s, std::move(list));
}

void MiReleaseScreens(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    setList(s, {});
}

uint32_t MiGetScreenCount(void) {
    if (fails("MiGetScreenCount"))
        return 0;
    return state().count.load();
}

MiScreen* MiGetScreenAtIndex(uint32_t index) {
    if (fails("MiGetScreenAtIndex"))
        return nullptr;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return index < s.list.size() ? reinterpret_cast<MiScreen*>(s.list[index].screenToken) : nullptr;
}

uint32_t MiGetScreenCountForMonitor(const char* product, const char* serial) {
    return countScreens("MiGetScreenCountForMonitor", [&](sim::Screen const& screen) {
        return onMonitor(screen, product, serial);
    });
}

MiScreen* MiGetScreenForMonitorAtIndex(const char* product, const char* serial, uint32_t index) {
    return nthScreen("MiGetScreenForMonitorAtIndex", index,
                     [&](sim::Screen const& screen) { return onMonitor(screen, product, serial); });
}

MiPoint MiPointMake(int32_t x, int32_t y) {
    return MiPoint{x, y};
}

uint32_t MiGetScreenCountForPoint(MiPoint point) {
    return countScreens("MiGetScreenCountForPoint",
                        [&](sim::Screen const& screen) { return containsPoint(screen, point); });
}

MiScreen* MiGetScreenForPointAtIndex(MiPoint point, uint32_t index) {
    return nthScreen("MiGetScreenForPointAtIndex", index,
                     [&](sim::Screen const& screen) { return containsPoint(screen, point); });
}

uint8_t MiGetScreenProfile(MiScreen* screen, char* buffer, uint32_t* length) {
    if (length == nullptr || fails("MiGetScreenProfile"))
        return 0;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    Entry const* e = findScreen(s, screen, "MiGetScreenProfile");
    if (e == nullptr)
        return 0;
    std::string const& path = e->screen.supportsProfile ? e->screen.profile : std::string();
    auto const needed = static_cast<std::uint32_t>(path.size() + 1);
    if (buffer == nullptr) {
        *length = path.empty() ? 0 : needed;
        return 1;
    }
    if (*length < needed) {
        *length = needed;
        return 0;
    }
    std::memcpy(buffer, path.c_str(), needed);
    *length = needed;
    return 1;
}

uint8_t MiSetScreenProfile(MiScreen* screen, const char* path) {
    if (fails("MiSetScreenProfile"))
        return 0;
    State& s = state();
    std::string id;
    std::string const value = path != nullptr ? path : "";
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        Entry* e = findScreen(s, screen, "MiSetScreenProfile");
        if (e == nullptr || !e->screen.supportsProfile)
            return 0;
        e->screen.profile = value;
        id = e->screen.id;
    }
    writeBack(
        id,
        [](sim::Screen& target, void const* v) {
            target.profile = *static_cast<std::string const*>(v);
        },
        &value);
    return 1;
}

uint8_t MiGetScreenGraphicsCardGamma(MiScreen* screen, double (*red)[256], double (*green)[256],
                                     double (*blue)[256]) {
    if (red == nullptr || green == nullptr || blue == nullptr ||
        fails("MiGetScreenGraphicsCardGamma"))
        return 0;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    Entry const* e = findScreen(s, screen, "MiGetScreenGraphicsCardGamma");
    if (e == nullptr || !e->screen.supportsGraphicsCardGamma)
        return 0;
    std::copy(e->screen.gamma.red.begin(), e->screen.gamma.red.end(), *red);
    std::copy(e->screen.gamma.green.begin(), e->screen.gamma.green.end(), *green);
    std::copy(e->screen.gamma.blue.begin(), e->screen.gamma.blue.end(), *blue);
    return 1;
}

uint8_t MiSetScreenGraphicsCardGamma(MiScreen* screen, const double (*red)[256],
                                     const double (*green)[256], const double (*blue)[256]) {
    if (red == nullptr || green == nullptr || blue == nullptr ||
        fails("MiSetScreenGraphicsCardGamma"))
        return 0;
    sim::GammaRamps ramps;
    std::copy(*red, *red + 256, ramps.red.begin());
    std::copy(*green, *green + 256, ramps.green.begin());
    std::copy(*blue, *blue + 256, ramps.blue.begin());
    auto const finite = [](sim::GammaRamp const& ramp) {
        return std::all_of(ramp.begin(), ramp.end(), [](double d) { return std::isfinite(d); });
    };
    if (!finite(ramps.red) || !finite(ramps.green) || !finite(ramps.blue))
        return 0; // the library answers finite values only, so it refuses to store others
    State& s = state();
    std::string id;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        Entry* e = findScreen(s, screen, "MiSetScreenGraphicsCardGamma");
        if (e == nullptr || !e->screen.supportsGraphicsCardGamma)
            return 0;
        e->screen.gamma = ramps;
        id = e->screen.id;
    }
    writeBack(
        id,
        [](sim::Screen& target, void const* v) {
            target.gamma = *static_cast<sim::GammaRamps const*>(v);
        },
        &ramps);
    return 1;
}

MiSize MiSizeMake(int32_t width, int32_t height) {
    return MiSize{width, height};
}

MiRect MiGetScreenBounds(MiScreen* screen) {
    return readScreen(screen, "MiGetScreenBounds", MiRect{0, 0, 0, 0}, [](sim::Screen const& s) {
        return MiRect{s.bounds.x, s.bounds.y, s.bounds.width, s.bounds.height};
    });
}

int32_t MiGetScreenColorDepth(MiScreen* screen) {
    return readScreen(screen, "MiGetScreenColorDepth", 0,
                      [](sim::Screen const& s) { return s.colorDepth; });
}

double MiGetScreenRefreshRate(MiScreen* screen) {
    return readScreen(screen, "MiGetScreenRefreshRate", 0.0,
                      [](sim::Screen const& s) { return s.refreshRate; });
}

int32_t MiGetScreenRotation(MiScreen* screen) {
    return readScreen(screen, "MiGetScreenRotation", 0,
                      [](sim::Screen const& s) { return s.rotation; });
}

MiScale MiGetScreenScale(MiScreen* screen) {
    return readScreen(screen, "MiGetScreenScale", MiScale{1.0, 1.0}, [](sim::Screen const& s) {
        return MiScale{s.scale.x, s.scale.y};
    });
}

MiSize MiGetScreenRenderingSize(MiScreen* screen) {
    return readScreen(screen, "MiGetScreenRenderingSize", MiSize{0, 0}, [](sim::Screen const& s) {
        return MiSize{s.renderingSize.width, s.renderingSize.height};
    });
}

uint8_t MiIsScreenPrimary(MiScreen* screen) {
    return readScreen(screen, "MiIsScreenPrimary", std::uint8_t{0}, [](sim::Screen const& s) {
        return static_cast<std::uint8_t>(s.primary ? 1 : 0);
    });
}

uint8_t MiIsScreenMirroring(MiScreen* screen) {
    return readScreen(screen, "MiIsScreenMirroring", std::uint8_t{0}, [](sim::Screen const& s) {
        return static_cast<std::uint8_t>(s.mirroring ? 1 : 0);
    });
}

uint8_t MiSupportsScreenProfile(MiScreen* screen) {
    return readScreen(screen, "MiSupportsScreenProfile", std::uint8_t{0}, [](sim::Screen const& s) {
        return static_cast<std::uint8_t>(s.supportsProfile ? 1 : 0);
    });
}

uint8_t MiSupportsScreenGraphicsCardGamma(MiScreen* screen) {
    return readScreen(screen, "MiSupportsScreenGraphicsCardGamma", std::uint8_t{0},
                      [](sim::Screen const& s) {
                          return static_cast<std::uint8_t>(s.supportsGraphicsCardGamma ? 1 : 0);
                      });
}

MiEdid* MiGetScreenEdid(MiScreen* screen) {
    if (fails("MiGetScreenEdid"))
        return nullptr;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    Entry const* e = findScreen(s, screen, "MiGetScreenEdid");
    return e != nullptr && e->edidToken != 0 ? reinterpret_cast<MiEdid*>(e->edidToken) : nullptr;
}

uint8_t MiIsEdidOvakMonitor(MiEdid* edid) {
    return readEdid(edid, "MiIsEdidOvakMonitor", std::uint8_t{0}, [](sim::Edid const& e) {
        return static_cast<std::uint8_t>(e.isOvakMonitor ? 1 : 0);
    });
}

const char* MiGetEdidManufacturer(MiEdid* edid) {
    return readEdid(edid, "MiGetEdidManufacturer", "",
                    [](sim::Edid const& e) { return e.manufacturer.c_str(); });
}

const char* MiGetEdidProductName(MiEdid* edid) {
    return readEdid(edid, "MiGetEdidProductName", "",
                    [](sim::Edid const& e) { return e.productName.c_str(); });
}

const char* MiGetEdidSerialNumber(MiEdid* edid) {
    return readEdid(edid, "MiGetEdidSerialNumber", "",
                    [](sim::Edid const& e) { return e.serialNumber.c_str(); });
}

MiSize MiGetEdidPreferredResolution(MiEdid* edid) {
    return readEdid(edid, "MiGetEdidPreferredResolution", MiSize{0, 0}, [](sim::Edid const& e) {
        return MiSize{e.preferredResolution.width, e.preferredResolution.height};
    });
}

MiColor MiGetEdidChromaticity(MiEdid* edid, char primary) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    MiColor color = zeroColor();
    sim::Edid const* e = findEdid(s, edid, "MiGetEdidChromaticity");
    if (e == nullptr)
        return color;
    sim::Chromaticity const* c = nullptr;
    switch (primary) {
    case 'R':
        c = &e->red;
        break;
    case 'G':
        c = &e->green;
        break;
    case 'B':
        c = &e->blue;
        break;
    case 'W':
    case 'K': // black has the white point's chromaticity
        c = &e->white;
        break;
    default:
        return color;
    }
    color.x = c->x;
    color.y = c->y;
    return color;
}

int32_t MiGetX11ScreenEventBase(void) {
    if (fails("MiGetX11ScreenEventBase"))
        return 0;
    return sim::world().snapshot()->display.randrEventBase;
}

MiScale MiGetScreenPixelRatio(MiScreen* screen) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    Entry const* e = findScreen(s, screen, "MiGetScreenPixelRatio");
    return e != nullptr ? MiScale{e->screen.pixelRatio.x, e->screen.pixelRatio.y}
                        : MiScale{1.0, 1.0};
}

uint8_t MiGetEdidManufactureYear(MiEdid* edid, uint8_t* isModelYear, int32_t* year, int32_t* week) {
    if (isModelYear == nullptr || year == nullptr || week == nullptr ||
        fails("MiGetEdidManufactureYear"))
        return 0;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    sim::Edid const* e = findEdid(s, edid, "MiGetEdidManufactureYear");
    if (e == nullptr || !e->manufactureYear)
        return 0;
    *isModelYear = e->manufactureYear->isModelYear ? 1 : 0;
    *year = e->manufactureYear->year;
    *week = e->manufactureYear->week;
    return 1;
}

size_t SimScrinfoStaleHandleCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.staleUses;
}

size_t SimScrinfoFindScreensCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.findCalls;
}

void SimScrinfoSetFindScreensDelay(uint32_t milliseconds) {
    state().findDelayMs.store(milliseconds);
}

void SimScrinfoResetCounts(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.staleUses = 0;
    s.findCalls = 0;
}

} // extern "C"
