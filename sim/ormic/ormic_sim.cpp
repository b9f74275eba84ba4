// Stand-in for the system-information library: facts, inventories and adapters of the world.
#pragma GCC visibility push(default)
#include "platform/ormic.h"
#include "sim/sim_control.h"
#pragma GCC visibility pop

#include "sim/world/world.h"

#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

// Facts ([T]) are read from the world at each call into one thread-local buffer per function.
// A snapshot copies what it lists when it is created; its entries and their [S] strings live in
// the snapshot until OrmReleaseSnapshot. Snapshots and entries are checked against the registry
// of live ones before use, so a released or foreign pointer is answered as "no entry" and counted
// instead of being read. Adapter handles ([P]) are one object per adapter id, never freed.

struct OrmSnapshot {
    int kind;
};

struct OrmProcess {
    std::string name;
    std::int32_t pid;
    std::string command;
};

struct OrmUSBDevice {
    std::string name;
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::uint16_t bcdDevice;
};

struct OrmApplication {
    std::string name;
};

struct OrmApplicationWindow {
    std::string title;
    std::string processName;
    std::string localizedName;
    bool active;
    std::string className;
};

struct OrmKEXT {
    std::string name;
    std::string version;
};

struct OrmPrinter {
    std::string name;
    std::string driverName;
    std::string driverVersion;
    bool isDefault;
};

struct OrmVGA {
    std::string id;
};

namespace {

enum Kind { kProcesses = 1, kUsbDevices, kApplications, kWindows, kKernelExtensions, kPrinters };

// One snapshot; the OrmSnapshot base is what the caller holds.
struct Snapshot : OrmSnapshot {
    explicit Snapshot(Kind k) : OrmSnapshot{k} {}
    std::vector<OrmProcess> processes;
    std::vector<OrmUSBDevice> usbDevices;
    std::vector<OrmApplication> applications;
    std::vector<OrmApplicationWindow> windows;
    std::vector<OrmKEXT> kernelExtensions;
    std::vector<OrmPrinter> printers;
};

struct State {
    std::mutex mutex;
    std::map<OrmSnapshot const*, std::unique_ptr<Snapshot>> snapshots;
    std::unordered_set<void const*> entries; // entries of live snapshots
    std::map<std::string, std::unique_ptr<OrmVGA>> adapters;
    std::size_t violations = 0;
};

State& state() {
    static State* const instance = new State;
    return *instance;
}

bool fails(char const* function) {
    return sim::world().shouldFail(function);
}

void reportViolation(State& s, char const* function, char const* what) {
    ++s.violations;
    std::fprintf(stderr, "ormic sim: %s: %s\n", function, what);
}

// The [T] buffers: one per function and thread.
enum Slot {
    kOSName,
    kOSNameShort,
    kKernelVersion,
    kBuildNumber,
    kOSArchitecture,
    kLocaleName,
    kLocaleLanguage,
    kDecimalSeparator,
    kThousandSeparator,
    kTimezoneName,
    kCPUName,
    kCPUArchitectureName,
    kPCName,
    kPCModelName,
    kPCVendorName,
    kPCSerialNumber,
    kIPAddress,
    kVGAName,
    kVGAVendor,
    kVGADriverName,
    kVGADriverVersion,
    kUserName,
    kDomainName,
    kLocaleCountry,
    kSlotCount
};

char const* perThread(Slot slot, std::string const& value) {
    thread_local std::array<std::string, kSlotCount> buffers;
    buffers[slot] = value;
    return buffers[slot].c_str();
}

// A [T] fact of the current world; "" when the call is made to fail.
template <typename Read>
char const* fact(char const* function, Slot slot, Read read) {
    if (fails(function))
        return perThread(slot, "");
    sim::Snapshot const w = sim::world().snapshot();
    return perThread(slot, read(*w));
}

// The adapter of a handle as the world has it now; false when gone or not a handle of ours.
bool findAdapter(OrmVGA* vga, char const* function, sim::GraphicsAdapter& out) {
    if (vga == nullptr || fails(function))
        return false;
    State& s = state();
    std::string id;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        for (auto const& entry : s.adapters) {
            if (entry.second.get() == vga)
                id = entry.first;
        }
        if (id.empty()) {
            reportViolation(s, function, "not an adapter handle of this library");
            return false;
        }
    }
    sim::GraphicsAdapter const* a = sim::world().snapshot()->findGraphicsAdapter(id);
    if (a == nullptr)
        return false;
    out = *a;
    return true;
}

OrmVGA* internAdapter(std::string const& id) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::unique_ptr<OrmVGA>& slot = s.adapters[id];
    if (!slot)
        slot.reset(new OrmVGA{id});
    return slot.get();
}

template <typename Fill>
OrmSnapshot* createSnapshot(char const* function, Kind kind, Fill fill) {
    if (fails(function))
        return nullptr;
    auto snapshot = std::make_unique<Snapshot>(kind);
    sim::Snapshot const w = sim::world().snapshot();
    fill(*w, *snapshot);
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto register_ = [&](auto const& list) {
        for (auto const& entry : list)
            s.entries.insert(&entry);
    };
    register_(snapshot->processes);
    register_(snapshot->usbDevices);
    register_(snapshot->applications);
    register_(snapshot->windows);
    register_(snapshot->kernelExtensions);
    register_(snapshot->printers);
    OrmSnapshot* const handle = snapshot.get();
    s.snapshots[handle] = std::move(snapshot);
    return handle;
}

// Entry `index` of a live snapshot of that kind; NULL past the end, for NULL, another kind, or a
// snapshot that is not live (counted).
template <typename Entry, typename List>
Entry* enumerate(OrmSnapshot* snapshot, std::uint32_t index, Kind kind, char const* function,
                 List list) {
    if (snapshot == nullptr || fails(function))
        return nullptr;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto const found = s.snapshots.find(snapshot);
    if (found == s.snapshots.end()) {
        reportViolation(s, function, "not a live snapshot");
        return nullptr;
    }
    if (found->second->kind != kind)
        return nullptr;
    std::vector<Entry>& entries = list(*found->second);
    return index < entries.size() ? &entries[index] : nullptr;
}

// Reads an entry of a live snapshot; `unknown` for NULL, a dead entry (counted) or a failing call.
template <typename T, typename Entry, typename Read>
T readEntry(Entry* entry, char const* function, T unknown, Read read) {
    if (entry == nullptr || fails(function))
        return unknown;
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.entries.count(entry) == 0) {
        reportViolation(s, function, "not an entry of a live snapshot");
        return unknown;
    }
    return read(*entry);
}

} // namespace

extern "C" {

const char* OrmGetOSName(void) {
    return fact("OrmGetOSName", kOSName, [](sim::WorldData const& w) { return w.system.os.name; });
}

const char* OrmGetOSNameShort(void) {
    return fact("OrmGetOSNameShort", kOSNameShort,
                [](sim::WorldData const& w) { return w.system.os.shortName; });
}

const char* OrmGetKernelVersion(void) {
    return fact("OrmGetKernelVersion", kKernelVersion,
                [](sim::WorldData const& w) { return w.system.os.kernelVersion; });
}

const char* OrmGetBuildNumber(void) {
    return fact("OrmGetBuildNumber", kBuildNumber,
                [](sim::WorldData const& w) { return w.system.os.buildNumber; });
}

const char* OrmGetOSArchitecture(void) {
    return fact("OrmGetOSArchitecture", kOSArchitecture,
                [](sim::WorldData const& w) { return w.system.os.architecture; });
}

const char* OrmGetLocaleName(void) {
    return fact("OrmGetLocaleName", kLocaleName,
                [](sim::WorldData const& w) { return w.system.locale.name; });
}

const char* OrmEnumLocaleLanguage(uint32_t index) {
    if (fails("OrmEnumLocaleLanguage"))
        return nullptr;
    sim::Snapshot const w = sim::world().snapshot();
    if (index >= w->system.locale.languages.size())
        return nullptr;
    return perThread(kLocaleLanguage, w->system.locale.languages[index]);
}

const char* OrmGetLocaleDecimalSeparator(void) {
    return fact("OrmGetLocaleDecimalSeparator", kDecimalSeparator,
                [](sim::WorldData const& w) { return w.system.locale.decimalSeparator; });
}

const char* OrmGetLocaleThousandSeparator(void) {
    return fact("OrmGetLocaleThousandSeparator", kThousandSeparator,
                [](sim::WorldData const& w) { return w.system.locale.thousandSeparator; });
}

const char* OrmGetTimezoneName(void) {
    return fact("OrmGetTimezoneName", kTimezoneName,
                [](sim::WorldData const& w) { return w.system.timeZone.name; });
}

int32_t OrmGetTimezoneOffset(void) {
    if (fails("OrmGetTimezoneOffset"))
        return 0;
    return sim::world().snapshot()->system.timeZone.offset;
}

const char* OrmGetCPUName(void) {
    return fact("OrmGetCPUName", kCPUName,
                [](sim::WorldData const& w) { return w.system.cpu.name; });
}

const char* OrmGetCPUArchitectureName(void) {
    return fact("OrmGetCPUArchitectureName", kCPUArchitectureName,
                [](sim::WorldData const& w) { return w.system.cpu.architecture; });
}

uint8_t OrmGetMemoryInformation(OrmMemoryInformation* info) {
    if (info == nullptr || fails("OrmGetMemoryInformation"))
        return 0;
    sim::Memory const m = sim::world().snapshot()->system.memory;
    info->total = m.total;
    info->available = m.available;
    info->usage = m.usage;
    return 1;
}

const char* OrmGetPCName(void) {
    return fact("OrmGetPCName", kPCName, [](sim::WorldData const& w) { return w.system.pc.name; });
}

const char* OrmGetPCModelName(void) {
    return fact("OrmGetPCModelName", kPCModelName,
                [](sim::WorldData const& w) { return w.system.pc.model; });
}

const char* OrmGetPCVendorName(void) {
    return fact("OrmGetPCVendorName", kPCVendorName,
                [](sim::WorldData const& w) { return w.system.pc.vendor; });
}

const char* OrmGetPCSerialNumber(void) {
    return fact("OrmGetPCSerialNumber", kPCSerialNumber,
                [](sim::WorldData const& w) { return w.system.pc.serialNumber; });
}

const char* OrmEnumIPAddress(uint32_t family, uint32_t index) {
    if (fails("OrmEnumIPAddress"))
        return perThread(kIPAddress, "");
    sim::Snapshot const w = sim::world().snapshot();
    std::vector<std::string> const* list = family == 1   ? &w->system.ipv4
                                           : family == 2 ? &w->system.ipv6
                                                         : nullptr;
    if (list == nullptr || index >= list->size())
        return perThread(kIPAddress, "");
    return perThread(kIPAddress, (*list)[index]);
}

OrmVGA* OrmEnumVGA(uint32_t index) {
    if (fails("OrmEnumVGA"))
        return nullptr;
    sim::Snapshot const w = sim::world().snapshot();
    if (index >= w->system.graphicsAdapters.size())
        return nullptr;
    return internAdapter(w->system.graphicsAdapters[index].id);
}

OrmVGA* OrmGetVGAOfScreen(MiScreen* screen) {
    if (screen == nullptr || fails("OrmGetVGAOfScreen"))
        return nullptr;
    sim::ScreenHandle listed;
    if (!sim::world().findScreenHandle(screen, listed) || listed.graphicsAdapter.empty())
        return nullptr;
    return internAdapter(listed.graphicsAdapter);
}

const char* OrmGetVGAName(OrmVGA* vga) {
    sim::GraphicsAdapter a;
    return perThread(kVGAName, findAdapter(vga, "OrmGetVGAName", a) ? a.name : "");
}

const char* OrmGetVGAVendor(OrmVGA* vga) {
    sim::GraphicsAdapter a;
    return perThread(kVGAVendor, findAdapter(vga, "OrmGetVGAVendor", a) ? a.vendor : "");
}

const char* OrmGetVGADriverName(OrmVGA* vga) {
    sim::GraphicsAdapter a;
    return perThread(kVGADriverName,
                     findAdapter(vga, "OrmGetVGADriverName", a) ? a.driverName : "");
}

const char* OrmGetVGADriverVersion(OrmVGA* vga) {
    sim::GraphicsAdapter a;
    return perThread(kVGADriverVersion,
                     findAdapter(vga, "OrmGetVGADriverVersion", a) ? a.driverVersion : "");
}

uint64_t OrmGetVGAVRAMSize(OrmVGA* vga) {
    sim::GraphicsAdapter a;
    return findAdapter(vga, "OrmGetVGAVRAMSize", a) ? a.vram : 0;
}

void OrmReleaseSnapshot(OrmSnapshot* snapshot) {
    if (snapshot == nullptr)
        return;
    State& s = state();
    std::unique_ptr<Snapshot> released;
    std::lock_guard<std::mutex> lock(s.mutex);
    auto const found = s.snapshots.find(snapshot);
    if (found == s.snapshots.end()) {
        reportViolation(s, "OrmReleaseSnapshot", "not a live snapshot (released twice?)");
        return;
    }
    released = std::move(found->second);
    s.snapshots.erase(found);
    auto unregister = [&](auto const& list) {
        for (auto const& entry : list)
            s.entries.erase(&entry);
    };
    unregister(released->processes);
    unregister(released->usbDevices);
    unregister(released->applications);
    unregister(released->windows);
    unregister(released->kernelExtensions);
    unregister(released->printers);
}

OrmSnapshot* OrmCreateRunningProcessSnapshot(void) {
    return createSnapshot("OrmCreateRunningProcessSnapshot", kProcesses,
                          [](sim::WorldData const& w, Snapshot& out) {
                              for (sim::Process const& p : w.system.processes)
                                  out.processes.push_back(OrmProcess{p.name, p.pid, p.command});
                          });
}

OrmProcess* OrmEnumRunningProcess(OrmSnapshot* snapshot, uint32_t index) {
    return enumerate<OrmProcess>(
        snapshot, index, kProcesses, "OrmEnumRunningProcess",
        [](Snapshot& s) -> std::vector<OrmProcess>& { return s.processes; });
}

const char* OrmGetProcessName(OrmProcess* process) {
    return readEntry(process, "OrmGetProcessName", "",
                     [](OrmProcess const& p) { return p.name.c_str(); });
}

int32_t OrmGetProcessPID(OrmProcess* process) {
    return readEntry(process, "OrmGetProcessPID", std::int32_t{0},
                     [](OrmProcess const& p) { return p.pid; });
}

const char* OrmGetProcessCommand(OrmProcess* process) {
    return readEntry(process, "OrmGetProcessCommand", "",
                     [](OrmProcess const& p) { return p.command.c_str(); });
}

OrmSnapshot* OrmCreateUSBDeviceSnapshot(void) {
    return createSnapshot("OrmCreateUSBDeviceSnapshot", kUsbDevices,
                          [](sim::WorldData const& w, Snapshot& out) {
                              for (sim::AttachedUsbDevice const& d : w.attachedUsbDevices())
                                  out.usbDevices.push_back(
                                      OrmUSBDevice{d.name, d.vendorId, d.productId, d.bcdDevice});
                          });
}

OrmUSBDevice* OrmEnumUSBDevice(OrmSnapshot* snapshot, uint32_t index) {
    return enumerate<OrmUSBDevice>(
        snapshot, index, kUsbDevices, "OrmEnumUSBDevice",
        [](Snapshot& s) -> std::vector<OrmUSBDevice>& { return s.usbDevices; });
}

const char* OrmGetUSBDeviceName(OrmUSBDevice* device) {
    return readEntry(device, "OrmGetUSBDeviceName", "",
                     [](OrmUSBDevice const& d) { return d.name.c_str(); });
}

uint16_t OrmGetUSBDeviceVendorID(OrmUSBDevice* device) {
    return readEntry(device, "OrmGetUSBDeviceVendorID", std::uint16_t{0},
                     [](OrmUSBDevice const& d) { return d.vendorId; });
}

uint16_t OrmGetUSBDeviceProductID(OrmUSBDevice* device) {
    return readEntry(device, "OrmGetUSBDeviceProductID", std::uint16_t{0},
                     [](OrmUSBDevice const& d) { return d.productId; });
}

uint16_t OrmGetUSBDeviceBcdDevice(OrmUSBDevice* device) {
    return readEntry(device, "OrmGetUSBDeviceBcdDevice", std::uint16_t{0},
                     [](OrmUSBDevice const& d) { return d.bcdDevice; });
}

OrmSnapshot* OrmCreateInstalledApplicationSnapshot(void) {
    return createSnapshot("OrmCreateInstalledApplicationSnapshot", kApplications,
                          [](sim::WorldData const& w, Snapshot& out) {
                              for (sim::Application const& a : w.system.applications)
                                  out.applications.push_back(OrmApplication{a.name});
                          });
}

OrmApplication* OrmEnumInstalledApplication(OrmSnapshot* snapshot, uint32_t index) {
    return enumerate<OrmApplication>(
        snapshot, index, kApplications, "OrmEnumInstalledApplication",
        [](Snapshot& s) -> std::vector<OrmApplication>& { return s.applications; });
}

const char* OrmGetApplicationName(OrmApplication* application) {
    return readEntry(application, "OrmGetApplicationName", "",
                     [](OrmApplication const& a) { return a.name.c_str(); });
}

OrmSnapshot* OrmCreateLoadedKEXTSnapshot(void) {
    return createSnapshot("OrmCreateLoadedKEXTSnapshot", kKernelExtensions,
                          [](sim::WorldData const& w, Snapshot& out) {
                              for (sim::KernelExtension const& k : w.system.kernelExtensions)
                                  out.kernelExtensions.push_back(OrmKEXT{k.name, k.version});
                          });
}

OrmKEXT* OrmEnumLoadedKEXT(OrmSnapshot* snapshot, uint32_t index) {
    return enumerate<OrmKEXT>(
        snapshot, index, kKernelExtensions, "OrmEnumLoadedKEXT",
        [](Snapshot& s) -> std::vector<OrmKEXT>& { return s.kernelExtensions; });
}

const char* OrmGetKEXTName(OrmKEXT* kext) {
    return readEntry(kext, "OrmGetKEXTName", "", [](OrmKEXT const& k) { return k.name.c_str(); });
}

const char* OrmGetKEXTVersion(OrmKEXT* kext) {
    return readEntry(kext, "OrmGetKEXTVersion", "",
                     [](OrmKEXT const& k) { return k.version.c_str(); });
}

OrmSnapshot* OrmCreatePrinterSnapshot(void) {
    return createSnapshot("OrmCreatePrinterSnapshot", kPrinters,
                          [](sim::WorldData const& w, Snapshot& out) {
                              for (sim::Printer const& p : w.system.printers)
                                  out.printers.push_back(OrmPrinter{p.name, p.driverName,
                                                                    p.driverVersion, p.isDefault});
                          });
}

OrmPrinter* OrmEnumPrinter(OrmSnapshot* snapshot, uint32_t index) {
    return enumerate<OrmPrinter>(
        snapshot, index, kPrinters, "OrmEnumPrinter",
        [](Snapshot& s) -> std::vector<OrmPrinter>& { return s.printers; });
}

const char* OrmGetPrinterName(OrmPrinter* printer) {
    return readEntry(printer, "OrmGetPrinterName", "",
                     [](OrmPrinter const& p) { return p.name.c_str(); });
}

const char* OrmGetPrinterDriverName(OrmPrinter* printer) {
    return readEntry(printer, "OrmGetPrinterDriverName", "",
                     [](OrmPrinter const& p) { return p.driverName.c_str(); });
}

const char* OrmGetPrinterDriverVersion(OrmPrinter* printer) {
    return readEntry(printer, "OrmGetPrinterDriverVersion", "",
                     [](OrmPrinter const& p) { return p.driverVersion.c_str(); });
}

uint8_t OrmGetPrinterDefault(OrmPrinter* printer) {
    return readEntry(printer, "OrmGetPrinterDefault", std::uint8_t{0},
                     [](OrmPrinter const& p) { return static_cast<std::uint8_t>(p.isDefault); });
}

OrmSnapshot* OrmCreateCurrentApplicationWindowSnapshot(void) {
    return createSnapshot(
        "OrmCreateCurrentApplicationWindowSnapshot", kWindows,
        [](sim::WorldData const& w, Snapshot& out) {
            for (sim::Window const& win : w.system.windows)
                out.windows.push_back(OrmApplicationWindow{
                    win.title, win.processName, win.localizedName, win.active, win.className});
        });
}

OrmApplicationWindow* OrmEnumApplicationWindow(OrmSnapshot* snapshot, uint32_t index) {
    return enumerate<OrmApplicationWindow>(
        snapshot, index, kWindows, "OrmEnumApplicationWindow",
        [](Snapshot& s) -> std::vector<OrmApplicationWindow>& { return s.windows; });
}

const char* OrmGetApplicationWindowTitle(OrmApplicationWindow* window) {
    return readEntry(window, "OrmGetApplicationWindowTitle", "",
                     [](OrmApplicationWindow const& w) { return w.title.c_str(); });
}

const char* OrmGetApplicationWindowProcessName(OrmApplicationWindow* window) {
    return readEntry(window, "OrmGetApplicationWindowProcessName", "",
                     [](OrmApplicationWindow const& w) { return w.processName.c_str(); });
}

const char* OrmGetApplicationWindowLocalizedName(OrmApplicationWindow* window) {
    return readEntry(window, "OrmGetApplicationWindowLocalizedName", "",
                     [](OrmApplicationWindow const& w) { return w.localizedName.c_str(); });
}

uint8_t OrmIsActiveApplicationWindow(OrmApplicationWindow* window) {
    return readEntry(
        window, "OrmIsActiveApplicationWindow", std::uint8_t{0},
        [](OrmApplicationWindow const& w) { return static_cast<std::uint8_t>(w.active); });
}

const char* OrmGetApplicationWindowClassName(OrmApplicationWindow* window) {
    return readEntry(window, "OrmGetApplicationWindowClassName", "",
                     [](OrmApplicationWindow const& w) { return w.className.c_str(); });
}

uint8_t OrmIsProcessRunning(const char* processName, uint32_t flags) {
    static_cast<void>(flags);
    if (processName == nullptr || fails("OrmIsProcessRunning"))
        return 0;
    sim::Snapshot const w = sim::world().snapshot();
    for (sim::Process const& p : w->system.processes) {
        if (p.name == processName)
            return 1;
    }
    return 0;
}

const char* OrmGetUserName(void) {
    return fact("OrmGetUserName", kUserName,
                [](sim::WorldData const& w) { return w.system.userName; });
}

const char* OrmGetDomainName(void) {
    return fact("OrmGetDomainName", kDomainName,
                [](sim::WorldData const& w) { return w.system.domainName; });
}

const char* OrmGetLocaleCountry(void) {
    return fact("OrmGetLocaleCountry", kLocaleCountry,
                [](sim::WorldData const& w) { return w.system.locale.country; });
}

uint32_t OrmGetVGADeviceLocationID(OrmVGA* vga) {
    sim::GraphicsAdapter a;
    return findAdapter(vga, "OrmGetVGADeviceLocationID", a) ? a.deviceLocationId : 0;
}

size_t SimOrmicOpenSnapshotCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.snapshots.size();
}

size_t SimOrmicViolationCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.violations;
}

void SimOrmicResetCounts(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.violations = 0;
}

} // extern "C"
