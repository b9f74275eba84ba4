// The inventory lists (processes, USB devices, applications, windows, kernel modules, printers)
// over one snapshot walk, and the "is this process running" query.
#include "loader/loaders.h"
#include "platform/ormic.h"
#include "system/system_resources.h"
#include "system/system_text.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace kavri::bridge {

namespace {

using pocketjson::Type;
using pocketjson::Value;

// One key of an entry's object and how it is read from the entry.
template <typename Entry>
struct Member {
    char const* key;
    std::function<Value(Entry*)> read;
};

// A snapshot kind: its creator, its enumerator and the members of each entry, in order.
template <typename Entry>
struct Listing {
    OrmSnapshot* (*create)();
    Entry* (*enumerate)(OrmSnapshot*, std::uint32_t);
    std::vector<Member<Entry>> members;
};

template <typename Entry>
Member<Entry> text(char const* key, char const* (*get)(Entry*)) {
    return {key, [get](Entry* entry) { return Value(system::LibraryText(get(entry))); }};
}

template <typename Entry, typename Number>
Member<Entry> integer(char const* key, Number (*get)(Entry*)) {
    return {key, [get](Entry* entry) { return Value(static_cast<std::int64_t>(get(entry))); }};
}

template <typename Entry>
Member<Entry> boolean(char const* key, std::uint8_t (*get)(Entry*)) {
    return {key, [get](Entry* entry) { return Value(get(entry) != 0); }};
}

struct ReleaseSnapshot {
    void operator()(OrmSnapshot* snapshot) const { OrmReleaseSnapshot(snapshot); }
};
using SnapshotHandle = std::unique_ptr<OrmSnapshot, ReleaseSnapshot>;

// Creates the snapshot, turns each entry up to the first null into an object and releases the
// snapshot on every way out. A snapshot that cannot be created lists nothing.
template <typename Entry>
Value walkSnapshot(Listing<Entry> const& listing) {
    Value all(Type::Array);
    SnapshotHandle const snapshot(listing.create());
    if (!snapshot)
        return all;
    for (std::uint32_t index = 0;; ++index) {
        Entry* entry = listing.enumerate(snapshot.get(), index);
        if (entry == nullptr)
            break;
        Value item(Type::Object);
        for (Member<Entry> const& member : listing.members)
            item[member.key] = member.read(entry);
        all.push_back(item);
    }
    return all;
}

Listing<OrmProcess> processes() {
    return {OrmCreateRunningProcessSnapshot,
            OrmEnumRunningProcess,
            {text("name", OrmGetProcessName), integer("pid", OrmGetProcessPID),
             text("command", OrmGetProcessCommand)}};
}

Listing<OrmUSBDevice> usbDevices() {
    return {OrmCreateUSBDeviceSnapshot,
            OrmEnumUSBDevice,
            {text("name", OrmGetUSBDeviceName), integer("vendorId", OrmGetUSBDeviceVendorID),
             integer("productId", OrmGetUSBDeviceProductID),
             integer("bcdDevice", OrmGetUSBDeviceBcdDevice)}};
}

Listing<OrmApplication> applications() {
    return {OrmCreateInstalledApplicationSnapshot,
            OrmEnumInstalledApplication,
            {text("name", OrmGetApplicationName)}};
}

// Every window function is looked up now, before any snapshot exists: a missing one ends the
// request with 404 and leaves nothing open.
Listing<OrmApplicationWindow> applicationWindows() {
    ormicLoader& ormic = ormicLoader::loader();
    auto const create = KAVRI_REQUIRE(ormic, OrmCreateCurrentApplicationWindowSnapshot);
    auto const enumerate = KAVRI_REQUIRE(ormic, OrmEnumApplicationWindow);
    auto const title = KAVRI_REQUIRE(ormic, OrmGetApplicationWindowTitle);
    auto const processName = KAVRI_REQUIRE(ormic, OrmGetApplicationWindowProcessName);
    auto const localizedName = KAVRI_REQUIRE(ormic, OrmGetApplicationWindowLocalizedName);
    auto const active = KAVRI_REQUIRE(ormic, OrmIsActiveApplicationWindow);
    auto const className = KAVRI_REQUIRE(ormic, OrmGetApplicationWindowClassName);
    return {create,
            enumerate,
            {text("title", title), text("processName", processName),
             text("localizedName", localizedName), boolean("active", active),
             text("className", className)}};
}

Listing<OrmKEXT> kernelExtensions() {
    return {OrmCreateLoadedKEXTSnapshot,
            OrmEnumLoadedKEXT,
            {text("name", OrmGetKEXTName), text("version", OrmGetKEXTVersion)}};
}

Listing<OrmPrinter> printers() {
    return {OrmCreatePrinterSnapshot,
            OrmEnumPrinter,
            {text("name", OrmGetPrinterName), text("driverName", OrmGetPrinterDriverName),
             text("driverVersion", OrmGetPrinterDriverVersion),
             boolean("isDefault", OrmGetPrinterDefault)}};
}

bool isProcessRunning(std::string const& name) {
    auto const running = KAVRI_REQUIRE(ormicLoader::loader(), OrmIsProcessRunning);
    return running(name.c_str(), 0) != 0;
}

} // namespace

BridgeResult SystemProcesses::Get(BridgeData const& data) {
    uri += "System/Processes";
    std::string const process = data.parameters["process"].toString("");
    if (process.empty())
        return BridgeResultOK(walkSnapshot(processes()));
    uri += "/" + uriText(process);
    BridgeCheckPageText(process, "process");
    Value answer(Type::Object);
    answer["isRunning"] = isProcessRunning(process);
    return BridgeResultOK(answer);
}

BridgeResult SystemUSBDevices::Get(BridgeData const&) {
    uri += "System/USBDevices";
    return BridgeResultOK(walkSnapshot(usbDevices()));
}

BridgeResult SystemApplications::Get(BridgeData const&) {
    uri += "System/Applications";
    return BridgeResultOK(walkSnapshot(applications()));
}

BridgeResult SystemApplicationWindows::Get(BridgeData const&) {
    uri += "System/ApplicationWindows";
    return BridgeResultOK(walkSnapshot(applicationWindows()));
}

BridgeResult SystemKEXT::Get(BridgeData const&) {
    uri += "System/KEXT";
    return BridgeResultOK(walkSnapshot(kernelExtensions()));
}

BridgeResult SystemPrinters::Get(BridgeData const&) {
    uri += "System/Printers";
    return BridgeResultOK(walkSnapshot(printers()));
}

} // namespace kavri::bridge
