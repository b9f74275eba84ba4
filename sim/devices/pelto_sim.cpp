// Stand-in for the sensor library: the sensors it has seen, its recursive lock, serial sensors.
#pragma GCC visibility push(default)
#include "platform/pelto.h"
#include "sim/devices/devices_control.h"
#pragma GCC visibility pop

#include "sim/devices/call_book.h"
#include "sim/devices/hid_device.h"
#include "sim/world/world.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

// One sensor the library has seen. Never freed: a removed sensor's handle stays readable so that
// a second removal is reported instead of crashing.
struct PeltoSensor {
    bool known;
    bool serial; // found by the serial enumeration
    std::uint32_t deviceId;
    std::uint64_t individualId;
    std::string monitorSerial; // the monitor of a built-in sensor; "" otherwise
};

namespace {

using simdev::argument;

// The library's lock: recursive, and it may be taken in one call and released in another.
class SensorLock {
public:
    void lock() {
        std::unique_lock<std::mutex> guard(mutex_);
        std::thread::id const self = std::this_thread::get_id();
        freed_.wait(guard, [&] { return depth_ == 0 || owner_ == self; });
        owner_ = self;
        ++depth_;
    }
    // False (nothing released) when the calling thread does not hold the lock.
    bool unlock() {
        std::lock_guard<std::mutex> guard(mutex_);
        if (depth_ == 0 || owner_ != std::this_thread::get_id())
            return false;
        if (--depth_ == 0) {
            owner_ = std::thread::id();
            freed_.notify_all();
        }
        return true;
    }
    std::uint32_t depth() const {
        std::lock_guard<std::mutex> guard(mutex_);
        return depth_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable freed_;
    std::thread::id owner_;
    std::uint32_t depth_ = 0;
};

// Holds the library's lock for one call.
class Held {
public:
    explicit Held(SensorLock& lock) : lock_(lock) { lock_.lock(); }
    ~Held() { lock_.unlock(); }
    Held(Held const&) = delete;
    Held& operator=(Held const&) = delete;

private:
    SensorLock& lock_;
};

struct Removed {
    std::uint32_t deviceId;
    std::uint64_t individualId;
    std::string monitorSerial;
    bool serial;
};

struct State {
    SensorLock lock; // the library's lock; taken before `data`, never while holding it
    std::mutex data; // guards the members below; the world's observer takes only this one
    simdev::CallBook book{"pelto",
                          {"PeltoLockSensors", "PeltoUnlockSensors",
                           "PeltoPreUpdateBuiltInSensorHandle", "PeltoUpdateBuiltInSensorHandle",
                           "PeltoGetHandleForHIDHandle", "PeltoGetHandleForDeviceID",
                           "PeltoRemoveSensor", "PeltoEnumConnectedSerialSensors"}};
    std::deque<PeltoSensor> sensors; // every sensor ever seen, removed ones included
    std::unordered_set<PeltoSensor const*> handles;
    std::deque<Removed> removed; // a deque never moves its elements: pointers stay valid
};

// Never destroyed: a dlclose leaves the library in place (-z nodelete) with its handles.
State& state() {
    static State* const instance = new State;
    return *instance;
}

PeltoSensor* findKnown(State& s, bool serial, std::uint32_t deviceId, std::uint64_t individualId) {
    for (PeltoSensor& sensor : s.sensors) {
        if (sensor.known && sensor.serial == serial && sensor.deviceId == deviceId &&
            sensor.individualId == individualId)
            return &sensor;
    }
    return nullptr;
}

void add(State& s, PeltoSensor sensor) {
    s.sensors.push_back(std::move(sensor));
    s.handles.insert(&s.sensors.back());
}

// Takes note of every sensor attached in the world now (under `data`).
void see(State& s) {
    sim::Snapshot const world = sim::world().snapshot();
    for (sim::ConnectedSensor const& sensor : world->connectedSensors()) {
        if (findKnown(s, false, sensor.deviceId, sensor.individualId) == nullptr)
            add(s, PeltoSensor{true, false, sensor.deviceId, sensor.individualId,
                               sensor.monitorSerial});
    }
    for (sim::SerialSensor const& sensor : world->attachedSerialSensors()) {
        if (findKnown(s, true, sensor.deviceId, 0) == nullptr)
            add(s, PeltoSensor{true, true, sensor.deviceId, 0, std::string()});
    }
}

// At load: the attached sensors, and from then on every change of the world's sensors.
struct WatchAtLoad {
    WatchAtLoad() {
        sim::world().addObserver([](sim::Change const& change) {
            if (!change.sensors && !change.serialSensors && !change.monitors)
                return;
            State& s = state();
            std::lock_guard<std::mutex> data(s.data);
            see(s);
        });
        State& s = state();
        std::lock_guard<std::mutex> data(s.data);
        see(s);
    }
} const watchAtLoad;

// For the two monitor calls: 0 when the world has that monitor (attached or not), else -1.
std::int32_t tellMonitor(char const* function, char const* serial, char const* product) {
    State& s = state();
    s.book.record(function, simdev::joined({argument(serial), argument(product)}));
    if (serial == nullptr || product == nullptr) {
        s.book.violation(std::string(function) + " with a NULL serial or product");
        return -1;
    }
    if (simdev::failing(function))
        return -1;
    Held held(s.lock);
    std::lock_guard<std::mutex> data(s.data);
    see(s);
    sim::Snapshot const world = sim::world().snapshot();
    sim::Monitor const* const monitor = world->findMonitor(serial);
    return monitor != nullptr && monitor->product == product ? 0 : -1;
}

} // namespace

extern "C" {

int32_t PeltoLockSensors(void) {
    State& s = state();
    s.book.record("PeltoLockSensors");
    s.lock.lock();
    return 0;
}

int32_t PeltoUnlockSensors(void) {
    State& s = state();
    s.book.record("PeltoUnlockSensors");
    if (!s.lock.unlock()) {
        s.book.violation("PeltoUnlockSensors by a thread that does not hold the lock");
        return -1;
    }
    return 0;
}

int32_t PeltoPreUpdateBuiltInSensorHandle(const char* serial, const char* product) {
    return tellMonitor("PeltoPreUpdateBuiltInSensorHandle", serial, product);
}

int32_t PeltoUpdateBuiltInSensorHandle(const char* serial, const char* product) {
    return tellMonitor("PeltoUpdateBuiltInSensorHandle", serial, product);
}

int32_t PeltoGetHandleForHIDHandle(VqHidDevice* hidHandle, PeltoSensor** sensor) {
    State& s = state();
    bool const readable = hidHandle != nullptr && hidHandle->magic == VqHidDevice::kMagic;
    s.book.record("PeltoGetHandleForHIDHandle", readable ? std::string(hidHandle->serial)
                                                : hidHandle == nullptr ? std::string("NULL")
                                                                       : std::string("?"));
    if (sensor == nullptr) {
        s.book.violation("PeltoGetHandleForHIDHandle with a NULL sensor pointer");
        return -1;
    }
    *sensor = nullptr;
    if (hidHandle == nullptr)
        return -1;
    if (!readable) {
        s.book.violation("PeltoGetHandleForHIDHandle with a HID handle that libvqc did not make");
        return -1;
    }
    if (simdev::failing("PeltoGetHandleForHIDHandle"))
        return -1;
    Held held(s.lock);
    std::lock_guard<std::mutex> data(s.data);
    see(s);
    for (PeltoSensor& known : s.sensors) {
        if (known.known && !known.serial && known.monitorSerial == hidHandle->serial) {
            *sensor = &known;
            return 0;
        }
    }
    return -1;
}

int32_t PeltoGetHandleForDeviceID(uint32_t deviceId, PeltoSensor** sensor) {
    State& s = state();
    s.book.record("PeltoGetHandleForDeviceID", argument(deviceId));
    if (sensor == nullptr) {
        s.book.violation("PeltoGetHandleForDeviceID with a NULL sensor pointer");
        return -1;
    }
    *sensor = nullptr;
    if (simdev::failing("PeltoGetHandleForDeviceID"))
        return -1;
    Held held(s.lock);
    std::lock_guard<std::mutex> data(s.data);
    see(s);
    // USB and built-in sensors first: serial sensors number their ids on their own.
    for (bool const serial : {false, true}) {
        for (PeltoSensor& known : s.sensors) {
            if (known.known && known.serial == serial && known.deviceId == deviceId) {
                *sensor = &known;
                return 0;
            }
        }
    }
    return -1;
}

int32_t PeltoRemoveSensor(PeltoSensor* sensor) {
    State& s = state();
    Held held(s.lock);
    std::lock_guard<std::mutex> data(s.data);
    bool const ours = s.handles.count(sensor) != 0;
    s.book.record("PeltoRemoveSensor", ours                ? argument(sensor->deviceId)
                                       : sensor == nullptr ? std::string("NULL")
                                                           : std::string("?"));
    if (!ours) {
        s.book.violation(sensor == nullptr
                             ? "PeltoRemoveSensor with a NULL sensor"
                             : "PeltoRemoveSensor with a handle this library did not hand out");
        return -1;
    }
    if (!sensor->known) {
        s.book.violation("PeltoRemoveSensor with a sensor removed before");
        return -1;
    }
    if (simdev::failing("PeltoRemoveSensor"))
        return -1;
    sensor->known = false;
    s.removed.push_back(
        Removed{sensor->deviceId, sensor->individualId, sensor->monitorSerial, sensor->serial});
    return 0;
}

int32_t PeltoEnumConnectedSerialSensors(uint32_t index, uint32_t* deviceId) {
    State& s = state();
    s.book.record("PeltoEnumConnectedSerialSensors", argument(index));
    if (deviceId == nullptr) {
        s.book.violation("PeltoEnumConnectedSerialSensors with a NULL output");
        return -1;
    }
    if (simdev::failing("PeltoEnumConnectedSerialSensors"))
        return -1;
    Held held(s.lock);
    std::vector<sim::SerialSensor> const sensors = sim::world().snapshot()->attachedSerialSensors();
    if (index >= sensors.size())
        return -1;
    *deviceId = sensors[index].deviceId;
    return 0;
}

void SimPeltoReset(void) {
    State& s = state();
    s.book.reset();
    std::lock_guard<std::mutex> data(s.data);
    for (PeltoSensor& sensor : s.sensors)
        sensor.known = false;
    s.removed.clear();
    see(s);
}

uint64_t SimPeltoCallCount(const char* function) {
    return state().book.callCount(function);
}

size_t SimPeltoCallLogSize(void) {
    return state().book.logSize();
}

int32_t SimPeltoCallAt(size_t index, const char** call) {
    char const* const entry = state().book.logAt(index);
    if (entry == nullptr || call == nullptr)
        return -1;
    *call = entry;
    return 0;
}

size_t SimPeltoViolationCount(void) {
    return state().book.violations();
}

size_t SimPeltoRemovedCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> data(s.data);
    return s.removed.size();
}

int32_t SimPeltoRemovedAt(size_t index, uint32_t* deviceId, uint64_t* individualId,
                          const char** monitorSerial, int32_t* serial) {
    State& s = state();
    std::lock_guard<std::mutex> data(s.data);
    if (index >= s.removed.size() || deviceId == nullptr || individualId == nullptr ||
        monitorSerial == nullptr || serial == nullptr)
        return -1;
    Removed const& removed = s.removed[index];
    *deviceId = removed.deviceId;
    *individualId = removed.individualId;
    *monitorSerial = removed.monitorSerial.c_str();
    *serial = removed.serial ? 1 : 0;
    return 0;
}

uint32_t SimPeltoLockDepth(void) {
    return state().lock.depth();
}

} // extern "C"
