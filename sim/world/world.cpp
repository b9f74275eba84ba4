// The process-wide simulated world: snapshots, changes with their counters, observers, failures.
#include "sim/world/world.h"

#include "json/pocketjson.h"
#include "sim/sim_control.h"
#include "sim/world/world_json.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <utility>

namespace sim {

using pocketjson::Type;
using pocketjson::Value;

// ---- The model's helpers ----------------------------------------------------------------------

GammaRamps GammaRamps::linear() {
    GammaRamps ramps;
    for (std::size_t i = 0; i < ramps.red.size(); ++i) {
        double const v = static_cast<double>(i) / 255.0;
        ramps.red[i] = v;
        ramps.green[i] = v;
        ramps.blue[i] = v;
    }
    return ramps;
}

bool GammaRamps::isLinear() const {
    GammaRamps const identity = linear();
    return red == identity.red && green == identity.green && blue == identity.blue;
}

namespace {

template <typename T, typename Match>
T const* findIn(std::vector<T> const& items, Match match) {
    auto const found = std::find_if(items.begin(), items.end(), match);
    return found == items.end() ? nullptr : &*found;
}

std::string hexKey(std::uint16_t vendorId, std::uint16_t productId) {
    char text[16];
    std::snprintf(text, sizeof text, "%04x:%04x", static_cast<unsigned>(vendorId),
                  static_cast<unsigned>(productId));
    return text;
}

} // namespace

Screen const* WorldData::findScreen(std::string const& id) const {
    return findIn(screens, [&](Screen const& s) { return s.id == id; });
}

Monitor const* WorldData::findMonitor(std::string const& serial) const {
    return findIn(monitors, [&](Monitor const& m) { return m.serial == serial; });
}

Sensor const* WorldData::findSensor(std::uint32_t deviceId) const {
    return findIn(sensors, [&](Sensor const& s) { return s.deviceId == deviceId; });
}

SerialSensor const* WorldData::findSerialSensor(std::uint32_t deviceId) const {
    return findIn(serialSensors, [&](SerialSensor const& s) { return s.deviceId == deviceId; });
}

LightingDevice const* WorldData::findLightingDevice(std::string const& serial) const {
    return findIn(lightingDevices, [&](LightingDevice const& d) { return d.serial == serial; });
}

GraphicsAdapter const* WorldData::findGraphicsAdapter(std::string const& id) const {
    return findIn(system.graphicsAdapters, [&](GraphicsAdapter const& a) { return a.id == id; });
}

std::vector<AttachedUsbDevice> WorldData::attachedUsbDevices() const {
    std::vector<AttachedUsbDevice> out;
    std::map<std::string, int> seen; // numbers repeated static entries so that keys stay unique
    for (UsbDevice const& d : system.usbDevices) {
        std::string key = "usb:" + hexKey(d.vendorId, d.productId) + ":" + d.name;
        int const n = seen[key]++;
        if (n > 0)
            key += "#" + std::to_string(n + 1);
        out.push_back(AttachedUsbDevice{DeviceKind::Other, key, d.name, d.vendorId, d.productId,
                                        d.bcdDevice});
    }
    for (Monitor const& m : monitors) {
        if (m.attached)
            out.push_back(AttachedUsbDevice{DeviceKind::Monitor, "monitor:" + m.serial, m.product,
                                            kavri::kOvakVendorId, m.productId, m.bcdDevice});
    }
    for (Sensor const& s : sensors) {
        if (s.attached)
            out.push_back(AttachedUsbDevice{DeviceKind::Sensor,
                                            "sensor:" + std::to_string(s.deviceId), s.name,
                                            s.vendorId, s.productId, s.bcdDevice});
    }
    for (SerialSensor const& s : serialSensors) {
        if (s.attached)
            out.push_back(AttachedUsbDevice{DeviceKind::SerialSensor,
                                            "serialSensor:" + std::to_string(s.deviceId), s.name,
                                            s.vendorId, s.productId, s.bcdDevice});
    }
    for (LightingDevice const& d : lightingDevices) {
        if (d.attached)
            out.push_back(AttachedUsbDevice{DeviceKind::Lighting, "lighting:" + d.serial, d.product,
                                            kavri::kOvakVendorId, d.productId, d.bcdDevice});
    }
    return out;
}

std::vector<ConnectedSensor> WorldData::connectedSensors() const {
    std::vector<ConnectedSensor> out;
    for (Monitor const& m : monitors) {
        if (m.attached && m.sensor)
            out.push_back(ConnectedSensor{m.sensor->deviceId, m.sensor->individualId, m.serial});
    }
    for (Sensor const& s : sensors) {
        if (s.attached)
            out.push_back(ConnectedSensor{s.deviceId, s.individualId, ""});
    }
    return out;
}

std::vector<Monitor> WorldData::attachedMonitors() const {
    std::vector<Monitor> out;
    std::copy_if(monitors.begin(), monitors.end(), std::back_inserter(out),
                 [](Monitor const& m) { return m.attached; });
    return out;
}

std::vector<SerialSensor> WorldData::attachedSerialSensors() const {
    std::vector<SerialSensor> out;
    std::copy_if(serialSensors.begin(), serialSensors.end(), std::back_inserter(out),
                 [](SerialSensor const& s) { return s.attached; });
    return out;
}

std::vector<LightingDevice> WorldData::attachedLightingDevices() const {
    std::vector<LightingDevice> out;
    std::copy_if(lightingDevices.begin(), lightingDevices.end(), std::back_inserter(out),
                 [](LightingDevice const& d) { return d.attached; });
    return out;
}

WorldData const& defaultWorld() {
    static WorldData const* const instance = [] {
        auto* w = new WorldData;
        std::string const error = worldFromJson(defaultWorldText(), *w);
        if (!error.empty()) {
            std::fprintf(stderr, "simulated world: the default world is bad: %s\n", error.c_str());
            std::abort();
        }
        return w;
    }();
    return *instance;
}

// ---- The world --------------------------------------------------------------------------------

namespace {

// Collections that controls name, with the member that identifies an item.
struct Collection {
    char const* name;
    char const* idMember;
    bool numericId;
    bool pluggable;
};

constexpr Collection kCollections[] = {
    {"screens", "id", false, false},
    {"monitors", "serial", false, true},
    {"sensors", "deviceId", true, true},
    {"serialSensors", "deviceId", true, true},
    {"lightingDevices", "serial", false, true},
};

Collection const* findCollection(std::string const& name) {
    for (Collection const& c : kCollections) {
        if (name == c.name)
            return &c;
    }
    return nullptr;
}

std::string collectionList() {
    std::string out;
    for (Collection const& c : kCollections)
        out += std::string(out.empty() ? "" : ", ") + c.name;
    return out;
}

// Index of the item with that id in the document's array, or -1.
long findItem(Value const& array, Collection const& c, std::string const& id) {
    auto const& items = array.arrayItems();
    for (std::size_t i = 0; i < items.size(); ++i) {
        Value const& member = items[i][c.idMember];
        bool const match =
            c.numericId ? member.type() == Type::Integer && std::to_string(member.toInt64(-1)) == id
                        : member.type() == Type::String && member.stringValue() == id;
        if (match)
            return static_cast<long>(i);
    }
    return -1;
}

std::string noItem(Collection const& c, std::string const& id) {
    return std::string(c.name) + ": no entry with " + c.idMember + " \"" + id + "\"";
}

bool differs(WorldData const& a, WorldData const& b, json::Section section) {
    return json::sectionValue(a, section) != json::sectionValue(b, section);
}

std::vector<AttachedUsbDevice> missingFrom(std::vector<AttachedUsbDevice> const& from,
                                           std::vector<AttachedUsbDevice> const& in) {
    std::vector<AttachedUsbDevice> out;
    for (AttachedUsbDevice const& d : from) {
        bool const present = std::any_of(in.begin(), in.end(), [&](AttachedUsbDevice const& e) {
            return e.key == d.key && e.vendorId == d.vendorId && e.productId == d.productId;
        });
        if (!present)
            out.push_back(d);
    }
    return out;
}

} // namespace

World::World() {
    auto first = std::make_shared<WorldData>(defaultWorld());
    first->generations = Generations{1, 1, 1, 1, 1, 1, 1, 1, 1};
    current_ = std::move(first);
}

Snapshot World::snapshot() const {
    std::lock_guard<std::mutex> lock(state_);
    return current_;
}

Generations World::generations() const {
    return snapshot()->generations;
}

std::string World::load(std::string const& text) {
    WorldData next;
    std::string const error = worldFromJson(text, next);
    if (!error.empty())
        return error;
    std::lock_guard<std::recursive_mutex> lock(control_);
    commit(std::move(next));
    return "";
}

std::string World::loadFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return "cannot read the world file \"" + path + "\"";
    std::ostringstream text;
    text << in.rdbuf();
    if (in.bad())
        return "cannot read the world file \"" + path + "\"";
    return load(text.str());
}

void World::reset() {
    std::lock_guard<std::recursive_mutex> lock(control_);
    clearFailures();
    commit(defaultWorld());
}

// Commits a checked world (under the control lock, held by the caller); "" for the controls.
std::string World::replace(WorldData next) {
    commit(std::move(next));
    return "";
}

namespace {

std::string readDocument(Value const& document, WorldData& out) {
    try {
        json::readWorld(document, out);
    } catch (json::BadWorld const& bad) {
        return bad.what();
    }
    return "";
}

} // namespace

std::string World::patch(std::string const& text) {
    Value patchValue;
    std::string error = json::parse(text, patchValue, "the patch");
    if (!error.empty())
        return error;
    std::lock_guard<std::recursive_mutex> lock(control_);
    Value const document = json::mergePatch(json::worldValue(*snapshot()), patchValue);
    WorldData next;
    error = readDocument(document, next);
    return error.empty() ? replace(std::move(next)) : error;
}

std::string World::add(std::string const& collection, std::string const& itemJson) {
    Collection const* c = findCollection(collection);
    if (c == nullptr)
        return "unknown collection \"" + collection + "\" (one of " + collectionList() + ")";
    Value item;
    std::string error = json::parse(itemJson, item, "the item");
    if (!error.empty())
        return error;
    std::lock_guard<std::recursive_mutex> lock(control_);
    Value document = json::worldValue(*snapshot());
    document[collection].push_back(item);
    WorldData next;
    error = readDocument(document, next);
    return error.empty() ? replace(std::move(next)) : error;
}

std::string World::remove(std::string const& collection, std::string const& id) {
    Collection const* c = findCollection(collection);
    if (c == nullptr)
        return "unknown collection \"" + collection + "\" (one of " + collectionList() + ")";
    std::lock_guard<std::recursive_mutex> lock(control_);
    Value document = json::worldValue(*snapshot());
    Value const& array = document[collection];
    long const index = findItem(array, *c, id);
    if (index < 0)
        return noItem(*c, id);
    Value kept(Type::Array);
    for (std::size_t i = 0; i < array.size(); ++i) {
        if (static_cast<long>(i) != index)
            kept.push_back(array.arrayItems()[i]);
    }
    document[collection] = kept;
    WorldData next;
    std::string const error = readDocument(document, next);
    return error.empty() ? replace(std::move(next)) : error;
}

std::string World::modify(std::string const& collection, std::string const& id,
                          std::string const& patchJson) {
    Collection const* c = findCollection(collection);
    if (c == nullptr)
        return "unknown collection \"" + collection + "\" (one of " + collectionList() + ")";
    Value patchValue;
    std::string error = json::parse(patchJson, patchValue, "the patch");
    if (!error.empty())
        return error;
    if (patchValue.type() != Type::Object)
        return "the patch must be an object";
    std::lock_guard<std::recursive_mutex> lock(control_);
    Value document = json::worldValue(*snapshot());
    long const index = findItem(document[collection], *c, id);
    if (index < 0)
        return noItem(*c, id);
    Value& item = document[collection][static_cast<unsigned long>(index)];
    item = json::mergePatch(item, patchValue);
    WorldData next;
    error = readDocument(document, next);
    return error.empty() ? replace(std::move(next)) : error;
}

std::string World::setScreens(std::string const& arrayJson) {
    Value screens;
    std::string error = json::parse(arrayJson, screens, "the screens");
    if (!error.empty())
        return error;
    if (screens.type() != Type::Array)
        return "$.screens: must be an array";
    std::lock_guard<std::recursive_mutex> lock(control_);
    Value document = json::worldValue(*snapshot());
    document["screens"] = screens;
    WorldData next;
    error = readDocument(document, next);
    return error.empty() ? replace(std::move(next)) : error;
}

std::string World::setAttached(std::string const& collection, std::string const& id,
                               bool attached) {
    Collection const* c = findCollection(collection);
    if (c == nullptr)
        return "unknown collection \"" + collection + "\" (one of " + collectionList() + ")";
    if (!c->pluggable)
        return std::string(c->name) + " cannot be plugged or unplugged; add or remove them";
    return modify(collection, id, attached ? "{\"attached\":true}" : "{\"attached\":false}");
}

void World::update(std::function<void(WorldData&)> const& change) {
    std::lock_guard<std::recursive_mutex> lock(control_);
    WorldData next = *snapshot();
    change(next);
    commit(std::move(next));
}

// Under the control lock. Works out what changed, moves the counters, swaps the snapshot, then
// tells the observers and, for a new screen configuration, the host's native-event callbacks.
void World::commit(WorldData next) {
    Snapshot const previous = snapshot();
    Change change;
    change.screens = differs(*previous, next, json::Section::Screens);
    change.screenConfiguration =
        change.screens && differs(*previous, next, json::Section::ScreenConfiguration);
    change.monitors = differs(*previous, next, json::Section::Monitors);
    change.sensors = differs(*previous, next, json::Section::Sensors) || (change.monitors && [&] {
                         auto const a = previous->connectedSensors();
                         auto const b = next.connectedSensors();
                         return a.size() != b.size() ||
                                !std::equal(a.begin(), a.end(), b.begin(),
                                            [](ConnectedSensor const& x, ConnectedSensor const& y) {
                                                return x.deviceId == y.deviceId &&
                                                       x.individualId == y.individualId &&
                                                       x.monitorSerial == y.monitorSerial;
                                            });
                     }());
    change.serialSensors = differs(*previous, next, json::Section::SerialSensors);
    change.lighting = differs(*previous, next, json::Section::LightingDevices);
    change.system = differs(*previous, next, json::Section::System);
    change.display = differs(*previous, next, json::Section::Display);
    std::vector<AttachedUsbDevice> const before = previous->attachedUsbDevices();
    std::vector<AttachedUsbDevice> const after = next.attachedUsbDevices();
    change.left = missingFrom(before, after);
    change.arrived = missingFrom(after, before);
    bool const usb = !change.left.empty() || !change.arrived.empty();
    if (!change.screens && !change.monitors && !change.sensors && !change.serialSensors &&
        !change.lighting && !change.system && !change.display && !usb)
        return;

    Generations g = previous->generations;
    ++g.world;
    g.screens += change.screens ? 1 : 0;
    g.monitors += change.monitors ? 1 : 0;
    g.sensors += change.sensors ? 1 : 0;
    g.serialSensors += change.serialSensors ? 1 : 0;
    g.lighting += change.lighting ? 1 : 0;
    g.system += change.system ? 1 : 0;
    g.display += change.display ? 1 : 0;
    g.usb += usb ? 1 : 0;
    next.generations = g;
    change.generation = g.world;
    {
        std::lock_guard<std::mutex> lock(state_);
        current_ = std::make_shared<WorldData const>(std::move(next));
    }

    // Observers may remove themselves or others meanwhile: each is looked up before its call.
    std::vector<ObserverId> ids;
    for (Entry const& e : observers_)
        ids.push_back(e.id);
    for (ObserverId const id : ids) {
        auto const found = std::find_if(observers_.begin(), observers_.end(),
                                        [&](Entry const& e) { return e.id == id; });
        if (found == observers_.end())
            continue;
        Observer const observer = found->observer;
        observer(change);
    }
    if (change.screenConfiguration)
        deliverScreenEvent(0);
}

ObserverId World::addObserver(Observer observer) {
    std::lock_guard<std::recursive_mutex> lock(control_);
    ObserverId const id = nextObserver_++;
    observers_.push_back(Entry{id, std::move(observer)});
    return id;
}

void World::removeObserver(ObserverId id) {
    std::lock_guard<std::recursive_mutex> lock(control_);
    observers_.erase(std::remove_if(observers_.begin(), observers_.end(),
                                    [&](Entry const& e) { return e.id == id; }),
                     observers_.end());
}

void World::setScreenHandles(std::vector<ScreenHandle> handles) {
    std::unordered_map<void const*, ScreenHandle> byHandle;
    byHandle.reserve(handles.size());
    for (ScreenHandle const& h : handles)
        byHandle.emplace(h.handle, h);
    std::lock_guard<std::mutex> lock(handleMutex_);
    screenHandles_ = std::move(byHandle);
}

bool World::findScreenHandle(void const* handle, ScreenHandle& out) const {
    if (handle == nullptr)
        return false;
    std::lock_guard<std::mutex> lock(handleMutex_);
    auto const found = screenHandles_.find(handle);
    if (found == screenHandles_.end())
        return false;
    out = found->second;
    return true;
}

void World::failCalls(std::string const& function, std::int32_t count) {
    std::lock_guard<std::mutex> lock(failureMutex_);
    failures_.erase(std::remove_if(failures_.begin(), failures_.end(),
                                   [&](Failure const& f) { return f.function == function; }),
                    failures_.end());
    if (count != 0)
        failures_.push_back(Failure{function, count < 0 ? kFailAlways : count});
    failureCount_.store(failures_.size());
}

void World::clearFailures() {
    std::lock_guard<std::mutex> lock(failureMutex_);
    failures_.clear();
    failureCount_.store(0);
}

bool World::shouldFail(char const* function) {
    if (failureCount_.load() == 0 || function == nullptr)
        return false;
    std::lock_guard<std::mutex> lock(failureMutex_);
    auto const found = std::find_if(failures_.begin(), failures_.end(),
                                    [&](Failure const& f) { return f.function == function; });
    if (found == failures_.end())
        return false;
    if (found->remaining > 0 && --found->remaining == 0) {
        failures_.erase(found);
        failureCount_.store(failures_.size());
    }
    return true;
}

std::int32_t World::pendingFailures(std::string const& function) const {
    std::lock_guard<std::mutex> lock(failureMutex_);
    auto const found = std::find_if(failures_.begin(), failures_.end(),
                                    [&](Failure const& f) { return f.function == function; });
    return found == failures_.end() ? 0 : found->remaining;
}

namespace {

void put16(unsigned char* at, std::uint32_t v) {
    at[0] = static_cast<unsigned char>(v & 0xFFu);
    at[1] = static_cast<unsigned char>((v >> 8) & 0xFFu);
}

void put32(unsigned char* at, std::uint32_t v) {
    put16(at, v & 0xFFFFu);
    put16(at + 2, v >> 16);
}

} // namespace

// The 32 bytes of an XCB RandR event, little-endian as on the target: response type, then for
// RRScreenChangeNotify (offset 0) the rotation, sequence, times, root, window, size index,
// subpixel order and the desktop's size in pixels and millimetres.
std::size_t World::deliverScreenEvent(std::uint8_t offset) {
    std::lock_guard<std::recursive_mutex> lock(control_);
    Snapshot const w = snapshot();
    if (w->display.randrEventBase == 0)
        return 0;
    static std::uint32_t sequence = 0;
    unsigned char event[32] = {};
    event[0] = static_cast<unsigned char>((w->display.randrEventBase + offset) & 0xFF);
    std::int32_t right = 0;
    std::int32_t bottom = 0;
    std::int32_t rotation = 0;
    for (Screen const& s : w->screens) {
        right = std::max(right, s.bounds.x + s.bounds.width);
        bottom = std::max(bottom, s.bounds.y + s.bounds.height);
        if (s.primary)
            rotation = s.rotation;
    }
    event[1] = static_cast<unsigned char>(1u << static_cast<unsigned>(rotation / 90));
    put16(event + 2, ++sequence & 0xFFFFu);
    std::uint32_t const time = static_cast<std::uint32_t>(w->generations.world);
    put32(event + 4, time);
    put32(event + 8, time);
    put32(event + 12, 0x000003A5u); // root window
    put32(event + 16, 0x000003A5u);
    put16(event + 24, static_cast<std::uint32_t>(right) & 0xFFFFu);
    put16(event + 26, static_cast<std::uint32_t>(bottom) & 0xFFFFu);
    put16(event + 28, static_cast<std::uint32_t>(right / 4) & 0xFFFFu); // about 100 dpi
    put16(event + 30, static_cast<std::uint32_t>(bottom / 4) & 0xFFFFu);
    return SimPageBridgeDeliverNativeEvent("_native_xcb_generic_event_t", event, sizeof event);
}

World& world() {
    static World* const instance = new World;
    return *instance;
}

} // namespace sim
