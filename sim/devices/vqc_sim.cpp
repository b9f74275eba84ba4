// Stand-in for the monitor-control HID library: the maker's monitors found by the last search.
#pragma GCC visibility push(default)
#include "platform/vqc.h"
#include "sim/devices/devices_control.h"
#pragma GCC visibility pop

#include "sim/devices/call_book.h"
#include "sim/devices/hid_device.h"
#include "sim/world/world.h"

#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace {

using simdev::argument;

struct Listed {
    std::string serial;
    std::string product;
    VqHidDevice* handle;
};

struct State {
    std::mutex mutex;
    simdev::CallBook book{
        "vqc",
        {"VqCtrlFind", "VqCtrlGetNumMonitors", "VqCtrlGetSerialProduct", "VqCtrlGetHIDHandle"}};
    std::vector<Listed> list;        // the result of the last search
    std::deque<VqHidDevice> handles; // every handle handed out; never freed
};

// Never destroyed: the plug-in may call in from its own static destructors at exit.
State& state() {
    static State* const instance = new State;
    return *instance;
}

// Replaces the list by the world's attached monitors. A monitor that stays keeps its handle.
void search(State& s) {
    sim::Snapshot const world = sim::world().snapshot();
    std::vector<Listed> found;
    for (sim::Monitor const& monitor : world->attachedMonitors()) {
        VqHidDevice* handle = nullptr;
        for (Listed const& before : s.list) {
            if (before.serial == monitor.serial && before.product == monitor.product)
                handle = before.handle;
        }
        if (handle == nullptr) {
            s.handles.emplace_back();
            handle = &s.handles.back();
            simdev::copyText(monitor.serial, handle->serial, sizeof handle->serial);
            simdev::copyText(monitor.product, handle->product, sizeof handle->product);
        }
        found.push_back(Listed{monitor.serial, monitor.product, handle});
    }
    s.list.swap(found);
}

// The search the library makes when it is loaded.
struct SearchAtLoad {
    SearchAtLoad() {
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        search(s);
    }
} const searchAtLoad;

} // namespace

extern "C" {

int32_t VqCtrlFind(uint32_t reserved1, uint32_t reserved2) {
    State& s = state();
    s.book.record("VqCtrlFind", simdev::joined({argument(reserved1), argument(reserved2)}));
    if (simdev::failing("VqCtrlFind"))
        return -1;
    std::lock_guard<std::mutex> lock(s.mutex);
    search(s);
    return 0;
}

uint64_t VqCtrlGetNumMonitors(void) {
    State& s = state();
    s.book.record("VqCtrlGetNumMonitors");
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.list.size();
}

int32_t VqCtrlGetSerialProduct(uint64_t index, char* serial, char* product) {
    State& s = state();
    s.book.record("VqCtrlGetSerialProduct", argument(index));
    if (serial == nullptr || product == nullptr) {
        s.book.violation("VqCtrlGetSerialProduct with a NULL buffer");
        return -1;
    }
    if (simdev::failing("VqCtrlGetSerialProduct"))
        return -1;
    std::lock_guard<std::mutex> lock(s.mutex);
    if (index >= s.list.size())
        return -1;
    Listed const& monitor = s.list[static_cast<std::size_t>(index)];
    simdev::copyText(monitor.serial, serial, 9);
    simdev::copyText(monitor.product, product, 17);
    return 0;
}

int32_t VqCtrlGetHIDHandle(const char* serial, const char* product, VqHidDevice** handle) {
    State& s = state();
    s.book.record("VqCtrlGetHIDHandle", simdev::joined({argument(serial), argument(product)}));
    if (handle == nullptr) {
        s.book.violation("VqCtrlGetHIDHandle with a NULL handle pointer");
        return -1;
    }
    *handle = nullptr;
    if (serial == nullptr || product == nullptr) {
        s.book.violation("VqCtrlGetHIDHandle with a NULL serial or product");
        return -1;
    }
    if (simdev::failing("VqCtrlGetHIDHandle"))
        return -1;
    std::lock_guard<std::mutex> lock(s.mutex);
    for (Listed const& monitor : s.list) {
        if (monitor.serial == serial && monitor.product == product) {
            *handle = monitor.handle;
            return 0;
        }
    }
    return -1;
}

void SimVqcReset(void) {
    State& s = state();
    s.book.reset();
    std::lock_guard<std::mutex> lock(s.mutex);
    search(s);
}

uint64_t SimVqcCallCount(const char* function) {
    return state().book.callCount(function);
}

size_t SimVqcCallLogSize(void) {
    return state().book.logSize();
}

int32_t SimVqcCallAt(size_t index, const char** call) {
    char const* const entry = state().book.logAt(index);
    if (entry == nullptr || call == nullptr)
        return -1;
    *call = entry;
    return 0;
}

size_t SimVqcViolationCount(void) {
    return state().book.violations();
}

} // extern "C"
