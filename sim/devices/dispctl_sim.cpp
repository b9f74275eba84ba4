// Stand-in for the run-time monitor-control library: the lighting devices of the last search.
#pragma GCC visibility push(default)
#include "platform/dispctl.h"
#include "sim/devices/devices_control.h"
#pragma GCC visibility pop

#include "sim/devices/call_book.h"
#include "sim/world/world.h"

#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

// One device of one search; it goes stale at the next search of its kind.
struct VqDevice {
    std::uint64_t search;
    sim::LightingDevice device;
};

namespace {

using simdev::argument;

struct State {
    std::mutex mutex;
    simdev::CallBook book{"dispctl",
                          {"VqRetrieveEx", "VqUpdateEx", "VqGetFixedData", "VqGetFeatureArray"}};
    std::uint64_t search = 0;     // number of the last kind-16 search
    std::vector<VqDevice*> list;  // the result of that search
    std::deque<VqDevice> devices; // every handle handed out; never freed
    std::unordered_set<VqDevice const*> known;
};

// Never destroyed: a dlclose leaves the library in place (-z nodelete) with its handles.
State& state() {
    static State* const instance = new State;
    return *instance;
}

void search(State& s) {
    sim::Snapshot const world = sim::world().snapshot();
    ++s.search;
    s.list.clear();
    for (sim::LightingDevice const& device : world->attachedLightingDevices()) {
        s.devices.push_back(VqDevice{s.search, device});
        s.known.insert(&s.devices.back());
        s.list.push_back(&s.devices.back());
    }
}

// The search the library makes when it is loaded.
struct SearchAtLoad {
    SearchAtLoad() {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        search(s);
    }
} const searchAtLoad;

// The device behind a handle of the current search, or nullptr (a violation) for any other.
VqDevice const* current(State& s, VqDevice const* device, char const* function) {
    if (device == nullptr) {
        s.book.violation(std::string(function) + " with a NULL device");
        return nullptr;
    }
    if (s.known.count(device) == 0) {
        s.book.violation(std::string(function) + " with a device this library did not hand out");
        return nullptr;
    }
    if (device->search != s.search) {
        s.book.violation(std::string(function) + " with a device from before the last VqUpdateEx");
        return nullptr;
    }
    return device;
}

// The string and statuses of one string code, or nullptr when the device has no such item.
struct Item {
    std::string const* text;
    sim::StringStatus status;
};

bool item(VqDevice const& device, std::uint16_t page, std::uint16_t code, Item& out) {
    if (page != VQ_PAGE_FIXED)
        return false;
    if (code == VQ_CODE_PRODUCT) {
        out = Item{&device.device.product, device.device.status.product};
        return true;
    }
    if (code == VQ_CODE_SERIAL) {
        out = Item{&device.device.serial, device.device.status.serial};
        return true;
    }
    return false;
}

bool fails(std::int32_t status) {
    return status < 0 && status != VQ_STATUS_PARTIAL;
}

std::string itemArguments(std::uint16_t page, std::uint16_t code) {
    return simdev::joined({simdev::hexArgument(page), argument(code)});
}

} // namespace

extern "C" {

int32_t VqRetrieveEx(uint32_t kind, uint32_t index, VqDevice** device) {
    State& s = state();
    s.book.record("VqRetrieveEx", simdev::joined({argument(kind), argument(index)}));
    if (device == nullptr) {
        s.book.violation("VqRetrieveEx with a NULL device pointer");
        return -1;
    }
    if (simdev::failing("VqRetrieveEx"))
        return -1;
    std::lock_guard<std::mutex> lock(s.mutex);
    if (kind != VQ_KIND_LIGHTING || index >= s.list.size())
        return -1;
    VqDevice* const found = s.list[index];
    std::int32_t const status = found->device.status.retrieve;
    if (status < 0)
        return status;
    *device = found;
    return status;
}

int32_t VqUpdateEx(uint32_t kind) {
    State& s = state();
    s.book.record("VqUpdateEx", argument(kind));
    if (simdev::failing("VqUpdateEx"))
        return -1;
    if (kind != VQ_KIND_LIGHTING)
        return 0;
    std::lock_guard<std::mutex> lock(s.mutex);
    search(s);
    return 0;
}

int32_t VqGetFixedData(VqDevice* device, uint16_t page, uint16_t code, uint8_t* info0,
                       uint64_t* info1, uint64_t* info2, uint8_t* info3, uint64_t* dataLength) {
    State& s = state();
    s.book.record("VqGetFixedData", itemArguments(page, code));
    if (info0 == nullptr || info1 == nullptr || info2 == nullptr || info3 == nullptr ||
        dataLength == nullptr) {
        s.book.violation("VqGetFixedData with a NULL output");
        return -1;
    }
    if (simdev::failing("VqGetFixedData"))
        return -1;
    std::lock_guard<std::mutex> lock(s.mutex);
    VqDevice const* const known = current(s, device, "VqGetFixedData");
    Item found{nullptr, {}};
    if (known == nullptr || !item(*known, page, code, found))
        return -1;
    if (fails(found.status.fixedData))
        return found.status.fixedData;
    *dataLength = found.text->size();
    return found.status.fixedData;
}

int32_t VqGetFeatureArray(VqDevice* device, uint16_t page, uint16_t code, uint8_t* buffer,
                          uint64_t bufferLength) {
    State& s = state();
    s.book.record("VqGetFeatureArray",
                  simdev::joined({itemArguments(page, code), argument(bufferLength)}));
    if (buffer == nullptr && bufferLength > 0) {
        s.book.violation("VqGetFeatureArray with a NULL buffer");
        return -1;
    }
    if (simdev::failing("VqGetFeatureArray"))
        return -1;
    std::lock_guard<std::mutex> lock(s.mutex);
    VqDevice const* const known = current(s, device, "VqGetFeatureArray");
    Item found{nullptr, {}};
    if (known == nullptr || !item(*known, page, code, found))
        return -1;
    if (fails(found.status.featureArray))
        return found.status.featureArray;
    std::size_t const size = found.text->size();
    std::size_t const copied = bufferLength < size ? static_cast<std::size_t>(bufferLength) : size;
    if (copied > 0)
        std::memcpy(buffer, found.text->data(), copied);
    return copied < size ? VQ_STATUS_PARTIAL : found.status.featureArray;
}

void SimDispctlReset(void) {
    State& s = state();
    s.book.reset();
    std::lock_guard<std::mutex> lock(s.mutex);
    search(s);
}

uint64_t SimDispctlCallCount(const char* function) {
    return state().book.callCount(function);
}

size_t SimDispctlCallLogSize(void) {
    return state().book.logSize();
}

int32_t SimDispctlCallAt(size_t index, const char** call) {
    char const* const entry = state().book.logAt(index);
    if (entry == nullptr || call == nullptr)
        return -1;
    *call = entry;
    return 0;
}

size_t SimDispctlViolationCount(void) {
    return state().book.violations();
}

} // extern "C"
