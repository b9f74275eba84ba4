// The simulated world: screens, the maker's devices and system facts, shared by every stand-in.
#pragma once

#include "device/ovak_usb.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

// Every stand-in links libtolmasim_world.so and reads the one process-wide world through
// sim::world(). The JSON form of the world is documented in sim/WORLD.md; the C controls are the
// SimWorld... functions of sim/sim_control.h.
//
// Reading: snapshot() hands out an immutable WorldData behind a shared_ptr. A snapshot never
// changes; a stand-in keeps the one it took at its own refresh call (MiFindScreens, VqCtrlFind,
// VqUpdateEx, ...) and so reports a change only after that call, as the real libraries do.
// Generations tell whether anything changed since a snapshot was taken.
//
// Locks, in the only order in which they may nest:
//   1. the control lock (recursive): held by every change from start to end, including the
//      observer calls and the native-event delivery that follow it, so that changes and their
//      notifications are serialised in generation order;
//   2. whatever lock a stand-in takes inside its observer;
//   3. the state lock: held only to copy or swap the snapshot pointer; nothing is called under it.
//      The failure and screen-handle locks are leaves of the same kind.
// So: a stand-in may read the world (snapshot(), generations(), failures) under its own lock at
// any time; it must not change the world (update, controls) or remove an observer while holding a
// lock that its observer also takes.

namespace sim {

struct Size {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

struct Rect {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

// Scale factors and pixel ratios.
struct Factors {
    double x = 1.0;
    double y = 1.0;
};

// CIE xy of one primary or of the white point.
struct Chromaticity {
    double x = 0.0;
    double y = 0.0;
};

struct ManufactureYear {
    bool isModelYear = false;
    std::int32_t year = 0;
    std::int32_t week = 0; // 0-54
};

struct Edid {
    bool isOvakMonitor = false;
    std::string manufacturer; // three-letter PNP id as decoded, e.g. "OVK"
    std::string productName;
    std::string serialNumber;
    Size preferredResolution;
    Chromaticity red;
    Chromaticity green;
    Chromaticity blue;
    Chromaticity white;
    std::optional<ManufactureYear> manufactureYear; // none: MiGetEdidManufactureYear fails
};

using GammaRamp = std::array<double, 256>;

// Graphics-card gamma ramps in the library's scale: 0.0 to 1.0.
struct GammaRamps {
    GammaRamp red{};
    GammaRamp green{};
    GammaRamp blue{};

    // The identity ramp i / 255 in all three channels (the default).
    static GammaRamps linear();
    bool isLinear() const;
};

struct Screen {
    std::string id; // the output's name, e.g. "DP-1"; unique; names the screen in controls
    Rect bounds;
    std::int32_t colorDepth = 24; // bits per pixel
    double refreshRate = 60.0;    // Hz
    std::int32_t rotation = 0;    // 0, 90, 180 or 270
    Factors scale;
    Size renderingSize;
    bool primary = false;
    bool mirroring = false;
    bool supportsProfile = true;
    bool supportsGraphicsCardGamma = true;
    Factors pixelRatio;
    std::optional<Edid> edid; // none: MiGetScreenEdid returns NULL
    std::string profile;      // path of the current colour profile; "" = none
    GammaRamps gamma = GammaRamps::linear();
    std::string graphicsAdapter; // id of an entry of System::graphicsAdapters; "" = none
};

struct BuiltInSensor {
    std::uint32_t deviceId = 0;
    std::uint64_t individualId = 0;
};

// One of the maker's monitors on USB (vendor kOvakVendorId).
struct Monitor {
    std::string serial;  // 1-8 bytes; unique; names the monitor in controls
    std::string product; // 1-16 bytes
    std::uint16_t productId = 0x4001;
    std::uint16_t bcdDevice = 0x0100;
    std::optional<BuiltInSensor> sensor; // enumerated with the monitor while it is attached
    bool attached = true;
};

// A USB measurement sensor.
struct Sensor {
    std::uint32_t deviceId = 0; // unique among sensors and built-in sensors; names it in controls
    std::uint64_t individualId = 0;
    std::string name = "Sensor";
    std::uint16_t vendorId = kavri::kOvakVendorId;
    std::uint16_t productId = 0x8000;
    std::uint16_t bcdDevice = 0x0100;
    bool attached = true;
};

// A sensor on a USB serial adapter, enumerated by the sensor library's serial enumeration.
struct SerialSensor {
    std::uint32_t deviceId = 0; // unique among serial sensors; names it in controls
    std::string name = "Serial sensor";
    std::uint16_t vendorId = 0x0403;
    std::uint16_t productId = 0x6001;
    std::uint16_t bcdDevice = 0x0600;
    bool attached = true;
};

// Statuses the run-time monitor-control library returns for one lighting device. A negative
// status fails the call (outputs untouched), except 0x80000006 (data possibly truncated), which
// succeeds.
struct StringStatus {
    std::int32_t fixedData = 0;    // VqGetFixedData
    std::int32_t featureArray = 0; // VqGetFeatureArray
};

struct LightingStatus {
    std::int32_t retrieve = 0; // VqRetrieveEx; negative: no device at that index
    StringStatus product;      // string code 1
    StringStatus serial;       // string code 2
};

// One of the maker's lighting devices (vendor kOvakVendorId).
struct LightingDevice {
    std::string product;
    std::string serial; // unique; names the device in controls
    std::uint16_t productId = 0x8100;
    std::uint16_t bcdDevice = 0x0100;
    LightingStatus status;
    bool attached = true;
};

struct GraphicsAdapter {
    std::string id; // unique; referenced by Screen::graphicsAdapter
    std::string name;
    std::string vendor;
    std::string driverName;
    std::string driverVersion;
    std::uint64_t vram = 0; // MiB
    std::uint32_t deviceLocationId = 0;
};

struct Process {
    std::string name;
    std::int32_t pid = 0;
    std::string command;
};

// A USB device other than the maker's devices and serial sensors, which are listed from their
// own sections while attached.
struct UsbDevice {
    std::string name;
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    std::uint16_t bcdDevice = 0;
};

struct Application {
    std::string name;
};

struct Window {
    std::string title;
    std::string processName;
    std::string localizedName;
    bool active = false;
    std::string className;
};

struct KernelExtension {
    std::string name;
    std::string version;
};

struct Printer {
    std::string name;
    std::string driverName;
    std::string driverVersion;
    bool isDefault = false;
};

struct Memory {
    std::uint32_t total = 0;     // MiB
    std::uint32_t available = 0; // MiB
    double usage = 0.0;          // fraction in use, 0.0 to 1.0
};

// Facts of the operating system and the computer. A string "" is an unknown value.
struct System {
    struct Os {
        std::string name;
        std::string shortName;
        std::string kernelVersion;
        std::string buildNumber;
        std::string architecture;
    } os;
    struct Locale {
        std::string name;
        std::vector<std::string> languages; // in order of preference
        std::string decimalSeparator;
        std::string thousandSeparator;
        std::string country;
    } locale;
    struct TimeZone {
        std::string name;
        std::int32_t offset = 0; // minutes east of UTC
    } timeZone;
    struct Cpu {
        std::string name;
        std::string architecture;
    } cpu;
    Memory memory;
    struct Pc {
        std::string name;
        std::string model;
        std::string vendor;
        std::string serialNumber;
    } pc;
    std::vector<std::string> ipv4;
    std::vector<std::string> ipv6;
    std::vector<GraphicsAdapter> graphicsAdapters;
    std::vector<Process> processes;
    std::vector<UsbDevice> usbDevices;
    std::vector<Application> applications;
    std::vector<Window> windows;
    std::vector<KernelExtension> kernelExtensions;
    std::vector<Printer> printers;
    std::string userName;
    std::string domainName;
};

// The host's X display as the screen library sees it.
struct Display {
    // RandR event base reported by MiGetX11ScreenEventBase; 0 = unknown (no RandR events are
    // delivered then).
    std::int32_t randrEventBase = 89;
};

// Change counters. `world` counts every change; a section's counter moves when that section's
// content changed. All start at 1 with the first world.
struct Generations {
    std::uint64_t world = 0;
    std::uint64_t screens = 0;
    std::uint64_t monitors = 0;
    std::uint64_t sensors = 0; // USB sensors and monitors' built-in sensors
    std::uint64_t serialSensors = 0;
    std::uint64_t lighting = 0;
    std::uint64_t system = 0;
    std::uint64_t display = 0;
    std::uint64_t usb = 0; // the attached USB devices (attachedUsbDevices())
};

enum class DeviceKind { Other, Monitor, Sensor, SerialSensor, Lighting };

// A device on the simulated USB bus, as the fake libusb and the USB inventory see it.
struct AttachedUsbDevice {
    DeviceKind kind = DeviceKind::Other;
    std::string key; // identity across changes, e.g. "monitor:23A04117"
    std::string name;
    std::uint16_t vendorId = 0;
    std::uint16_t productId = 0;
    std::uint16_t bcdDevice = 0;
};

// A sensor as the measurement-device library enumerates it.
struct ConnectedSensor {
    std::uint32_t deviceId = 0;
    std::uint64_t individualId = 0;
    std::string monitorSerial; // the monitor it is built into; "" for a USB sensor
};

struct WorldData {
    std::vector<Screen> screens;
    std::vector<Monitor> monitors;
    std::vector<Sensor> sensors;
    std::vector<SerialSensor> serialSensors;
    std::vector<LightingDevice> lightingDevices;
    System system;
    Display display;
    Generations generations; // set by the world; not part of the JSON form

    Screen const* findScreen(std::string const& id) const;
    Monitor const* findMonitor(std::string const& serial) const;
    Sensor const* findSensor(std::uint32_t deviceId) const;
    SerialSensor const* findSerialSensor(std::uint32_t deviceId) const;
    LightingDevice const* findLightingDevice(std::string const& serial) const;
    GraphicsAdapter const* findGraphicsAdapter(std::string const& id) const;

    // Attached devices in this order: system.usbDevices, then attached monitors, USB sensors,
    // serial sensors and lighting devices, each in list order.
    std::vector<AttachedUsbDevice> attachedUsbDevices() const;
    // Attached monitors' built-in sensors, in monitor order, then attached USB sensors.
    std::vector<ConnectedSensor> connectedSensors() const;
    std::vector<Monitor> attachedMonitors() const;
    std::vector<SerialSensor> attachedSerialSensors() const;
    std::vector<LightingDevice> attachedLightingDevices() const;
};

// ---- JSON form (sim/WORLD.md) ----------------------------------------------------------------

// Parses and checks a world document. Returns "" and fills `out`, or a one-line message naming
// the JSON path of the first bad member ("$.screens[1].rotation: must be 0, 90, 180 or 270") and
// leaves `out` untouched.
std::string worldFromJson(std::string const& text, WorldData& out);
// The document of a world, every member written (gamma only when not linear); pretty = indented.
std::string worldToJson(WorldData const& world, bool pretty = false);
// The embedded default world's text (sim/world/default_world.json).
char const* defaultWorldText();
WorldData const& defaultWorld();

// ---- The process-wide world ------------------------------------------------------------------

// What one change did, told to observers after it is in place.
struct Change {
    std::uint64_t generation = 0;     // Generations::world after the change
    bool screens = false;             // the screens section changed
    bool screenConfiguration = false; // ... in more than profiles and gamma ramps (RandR event)
    bool monitors = false;
    bool sensors = false;
    bool serialSensors = false;
    bool lighting = false;
    bool system = false;
    bool display = false;
    std::vector<AttachedUsbDevice> arrived; // USB devices attached by the change
    std::vector<AttachedUsbDevice> left;    // USB devices detached by the change
};

// A screen handle handed out by the screen-information stand-in, with its screen as listed.
struct ScreenHandle {
    void const* handle = nullptr;
    std::string screenId;
    std::string graphicsAdapter; // the screen's adapter id when it was listed; "" = none
};

using Observer = std::function<void(Change const&)>;
using ObserverId = std::uint64_t;
using Snapshot = std::shared_ptr<WorldData const>;

// Remaining-count value that makes every call of a function fail until cleared.
constexpr std::int32_t kFailAlways = -1;

class World {
public:
    World();
    World(World const&) = delete;
    World& operator=(World const&) = delete;

    // The current world; never null; immutable.
    Snapshot snapshot() const;
    Generations generations() const;

    // Replaces the world by a document (errors as worldFromJson; the world is then unchanged).
    std::string load(std::string const& json);
    std::string loadFile(std::string const& path);
    // The default world again, and no failing calls.
    void reset();
    // Applies a JSON merge patch (objects merge, null removes a member, everything else
    // replaces) to the world's document and loads the result.
    std::string patch(std::string const& json);
    // Items of a collection: "screens", "monitors", "sensors", "serialSensors",
    // "lightingDevices". ids: screen id, monitor and lighting serial, sensor device id (decimal).
    std::string add(std::string const& collection, std::string const& itemJson);
    std::string remove(std::string const& collection, std::string const& id);
    std::string modify(std::string const& collection, std::string const& id,
                       std::string const& patchJson);
    std::string setScreens(std::string const& arrayJson);
    // Plugs (attached true) or unplugs a monitor, sensor, serial sensor or lighting device.
    std::string setAttached(std::string const& collection, std::string const& id, bool attached);
    // A change made in C++ by a stand-in (profiles, gamma ramps). `change` must keep the world
    // valid (unique ids, lengths, finite values); it runs under the control lock.
    void update(std::function<void(WorldData&)> const& change);

    // Makes the next `count` calls of `function` fail (kFailAlways: every call; 0: none).
    void failCalls(std::string const& function, std::int32_t count);
    void clearFailures();
    // For stand-ins: true when this call of `function` must fail; uses up one count.
    bool shouldFail(char const* function);
    std::int32_t pendingFailures(std::string const& function) const;

    // Sends one RandR event (response type = event base + offset) through the page-bridge
    // stand-in now. Returns the number of callbacks reached; 0 when the base is 0.
    std::size_t deliverScreenEvent(std::uint8_t offset);

    // The screen-information stand-in's current screen handles (from its last MiFindScreens or
    // MiReleaseScreens), so that the system-information stand-in can answer OrmGetVGAOfScreen.
    void setScreenHandles(std::vector<ScreenHandle> handles);
    // The entry of a current handle; false for any other value (stale handles included).
    bool findScreenHandle(void const* handle, ScreenHandle& out) const;

    // Observers are called after every change, on the changing thread, under the control lock.
    ObserverId addObserver(Observer observer);
    // After it returns, no call of that observer is under way (except one that removes itself).
    void removeObserver(ObserverId id);

private:
    struct Failure {
        std::string function;
        std::int32_t remaining;
    };
    struct Entry {
        ObserverId id;
        Observer observer;
    };

    std::string replace(WorldData next);
    void commit(WorldData next);

    mutable std::recursive_mutex control_;
    mutable std::mutex state_;
    Snapshot current_;
    std::vector<Entry> observers_;
    ObserverId nextObserver_ = 1;
    mutable std::mutex failureMutex_;
    std::vector<Failure> failures_;
    mutable std::mutex handleMutex_;
    std::unordered_map<void const*, ScreenHandle> screenHandles_; // the current list's, by handle
    std::atomic<std::size_t> failureCount_{0}; // entries in failures_: the lock-free fast path
};

// The one world of the process, created with the default world on first use, never destroyed.
World& world();

} // namespace sim
