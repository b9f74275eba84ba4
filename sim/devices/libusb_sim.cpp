// Fake libusb-1.0: the world's USB bus, with hot-plug callbacks fired from the caller's poll.
#pragma GCC visibility push(default)
#include "sim/devices/devices_control.h"
#include "sim/devices/usb_api.h"
#pragma GCC visibility pop

#include "sim/devices/call_book.h"
#include "sim/world/world.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

struct Pending {
    libusb_hotplug_callback_handle handle;
    libusb_hotplug_event event;
    libusb_device* device;
};

} // namespace

// A session. Never freed, so that a pointer to an exited one is recognised as such.
struct libusb_context {
    bool live;
    bool isDefault;
    std::uint32_t references;  // libusb_init(NULL) calls not matched by libusb_exit(NULL) yet
    std::deque<Pending> queue; // events for this context's callbacks, not delivered yet
};

// A device on the bus. Never freed: its descriptor stays readable after it has left.
struct libusb_device {
    sim::AttachedUsbDevice usb;
    std::uint8_t address;
};

namespace {

std::string number(int value) {
    return std::to_string(value);
}

struct Callback {
    libusb_hotplug_callback_handle handle;
    libusb_context* context;
    int events;
    int vendor;
    int product;
    int deviceClass;
    libusb_hotplug_callback_fn function;
    void* user;
};

constexpr std::uint8_t kDeviceClass = 0; // every device names its class in its interfaces

bool matches(Callback const& callback, libusb_device const& device) {
    return (callback.vendor == LIBUSB_HOTPLUG_MATCH_ANY ||
            callback.vendor == device.usb.vendorId) &&
           (callback.product == LIBUSB_HOTPLUG_MATCH_ANY ||
            callback.product == device.usb.productId) &&
           (callback.deviceClass == LIBUSB_HOTPLUG_MATCH_ANY ||
            callback.deviceClass == kDeviceClass);
}

struct State {
    std::mutex mutex;
    std::condition_variable changed; // events queued, callbacks called, contexts exited
    simdev::CallBook book{"libusb",
                          {"libusb_init", "libusb_exit", "libusb_has_capability",
                           "libusb_hotplug_register_callback", "libusb_hotplug_deregister_callback",
                           "libusb_handle_events_timeout_completed",
                           "libusb_get_device_descriptor"}};
    bool hotplug = true;
    std::vector<libusb_device*> bus; // attached now, in the world's order
    std::deque<libusb_device> devices;
    std::unordered_set<libusb_device const*> knownDevices;
    std::deque<libusb_context> contexts;
    std::unordered_set<libusb_context const*> knownContexts;
    libusb_context* defaultContext = nullptr;
    std::vector<Callback> callbacks; // registered, over every live context
    libusb_hotplug_callback_handle nextHandle = 1;
    std::uint8_t nextAddress = 1;
    std::uint64_t delivered = 0;
};

// Never destroyed: the plug-in's watcher may still poll while the process exits.
State& state() {
    static State* const instance = new State;
    return *instance;
}

// Queues `event` for every registered callback that wants it (under the mutex).
void queue(State& s, libusb_hotplug_event event, libusb_device* device) {
    for (Callback const& callback : s.callbacks) {
        if ((callback.events & event) != 0 && matches(callback, *device))
            callback.context->queue.push_back(Pending{callback.handle, event, device});
    }
    s.changed.notify_all();
}

bool same(sim::AttachedUsbDevice const& a, sim::AttachedUsbDevice const& b) {
    return a.key == b.key && a.vendorId == b.vendorId && a.productId == b.productId;
}

// Brings the bus in line with the world (under the mutex): departures first, then arrivals, each
// in the world's order. A device whose ids changed leaves and arrives again.
void sync(State& s) {
    std::vector<sim::AttachedUsbDevice> const attached =
        sim::world().snapshot()->attachedUsbDevices();
    std::vector<libusb_device*> staying;
    for (libusb_device* device : s.bus) {
        bool found = false;
        for (sim::AttachedUsbDevice const& usb : attached)
            found = found || same(usb, device->usb);
        if (found)
            staying.push_back(device);
        else
            queue(s, LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT, device);
    }
    std::vector<libusb_device*> next;
    for (sim::AttachedUsbDevice const& usb : attached) {
        libusb_device* present = nullptr;
        for (libusb_device* device : staying) {
            if (same(usb, device->usb))
                present = device;
        }
        if (present == nullptr) {
            s.devices.push_back(libusb_device{usb, s.nextAddress});
            s.nextAddress = static_cast<std::uint8_t>(s.nextAddress % 127 + 1);
            present = &s.devices.back();
            s.knownDevices.insert(present);
            queue(s, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, present);
        }
        next.push_back(present);
    }
    s.bus.swap(next);
}

// At load: the devices attached now, and from then on every change of the world.
struct WatchAtLoad {
    WatchAtLoad() {
        sim::world().addObserver([](sim::Change const&) {
            State& s = state();
            std::lock_guard<std::mutex> lock(s.mutex);
            sync(s);
        });
        State& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        sync(s);
    }
} const watchAtLoad;

// The live context that `context` names (NULL: the default one), or nullptr after reporting the
// violation. Real libusb crashes on a NULL context once the last context has been exited.
libusb_context* resolve(State& s, libusb_context* context, char const* function) {
    if (context == nullptr) {
        if (s.defaultContext != nullptr)
            return s.defaultContext;
        s.book.violation(std::string(function) + " with a NULL context and no default context");
        return nullptr;
    }
    if (s.knownContexts.count(context) == 0) {
        s.book.violation(std::string(function) + " with a context libusb_init did not make");
        return nullptr;
    }
    if (!context->live) {
        s.book.violation(std::string(function) + " with a context that was exited");
        return nullptr;
    }
    return context;
}

Callback const* findCallback(State& s, libusb_hotplug_callback_handle handle) {
    for (Callback const& callback : s.callbacks) {
        if (callback.handle == handle)
            return &callback;
    }
    return nullptr;
}

// Removes a callback and the events still queued for it (under the mutex).
void deregister(State& s, libusb_hotplug_callback_handle handle) {
    for (auto it = s.callbacks.begin(); it != s.callbacks.end(); ++it) {
        if (it->handle != handle)
            continue;
        std::deque<Pending>& pending = it->context->queue;
        for (auto p = pending.begin(); p != pending.end();) {
            p = p->handle == handle ? pending.erase(p) : p + 1;
        }
        s.callbacks.erase(it);
        return;
    }
}

// Calls one callback for one event on this thread, without the mutex; false when it was
// deregistered meanwhile. A nonzero answer deregisters it.
bool deliver(State& s, libusb_context* context, Pending const& event) {
    libusb_hotplug_callback_fn function = nullptr;
    void* user = nullptr;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        Callback const* const callback = findCallback(s, event.handle);
        if (callback == nullptr)
            return false;
        function = callback->function;
        user = callback->user;
    }
    int const finished = function(context, event.device, event.event, user);
    std::lock_guard<std::mutex> lock(s.mutex);
    ++s.delivered;
    if (finished != 0)
        deregister(s, event.handle);
    s.changed.notify_all();
    return true;
}

void kill(State& s, libusb_context* context) {
    context->live = false;
    for (std::size_t i = s.callbacks.size(); i > 0; --i) {
        if (s.callbacks[i - 1].context == context)
            s.callbacks.erase(s.callbacks.begin() + static_cast<std::ptrdiff_t>(i - 1));
    }
    context->queue.clear();
    if (s.defaultContext == context)
        s.defaultContext = nullptr;
    s.changed.notify_all();
}

} // namespace

extern "C" {

int libusb_init(libusb_context** ctx) {
    State& s = state();
    s.book.record("libusb_init", ctx == nullptr ? "NULL" : "context");
    if (simdev::failing("libusb_init"))
        return LIBUSB_ERROR_OTHER;
    std::lock_guard<std::mutex> lock(s.mutex);
    if (ctx == nullptr && s.defaultContext != nullptr) {
        ++s.defaultContext->references;
        return LIBUSB_SUCCESS;
    }
    s.contexts.push_back(libusb_context{true, ctx == nullptr, 1, {}});
    libusb_context* const made = &s.contexts.back();
    s.knownContexts.insert(made);
    if (ctx == nullptr)
        s.defaultContext = made;
    else
        *ctx = made;
    return LIBUSB_SUCCESS;
}

void libusb_exit(libusb_context* ctx) {
    State& s = state();
    s.book.record("libusb_exit", ctx == nullptr ? "NULL" : "context");
    std::lock_guard<std::mutex> lock(s.mutex);
    if (ctx == nullptr) {
        // As in real libusb: nothing to do without a default context.
        if (s.defaultContext != nullptr && --s.defaultContext->references == 0)
            kill(s, s.defaultContext);
        return;
    }
    libusb_context* const context = resolve(s, ctx, "libusb_exit");
    if (context == nullptr)
        return;
    if (context->isDefault && --context->references > 0)
        return;
    kill(s, context);
}

int libusb_has_capability(uint32_t capability) {
    State& s = state();
    s.book.record("libusb_has_capability", simdev::hexArgument(capability));
    if (simdev::failing("libusb_has_capability"))
        return 0;
    std::lock_guard<std::mutex> lock(s.mutex);
    if (capability == LIBUSB_CAP_HAS_CAPABILITY)
        return 1;
    if (capability == LIBUSB_CAP_HAS_HOTPLUG)
        return s.hotplug ? 1 : 0;
    return 0;
}

int libusb_hotplug_register_callback(libusb_context* ctx, int events, int flags, int vendor_id,
                                     int product_id, int dev_class,
                                     libusb_hotplug_callback_fn cb_fn, void* user_data,
                                     libusb_hotplug_callback_handle* callback_handle) {
    State& s = state();
    s.book.record("libusb_hotplug_register_callback",
                  simdev::joined({number(events), number(flags), number(vendor_id),
                                  number(product_id), number(dev_class)}));
    if (simdev::failing("libusb_hotplug_register_callback"))
        return LIBUSB_ERROR_OTHER;
    int const anyEvent = LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT;
    auto const inRange = [](int value, int highest) {
        return value == LIBUSB_HOTPLUG_MATCH_ANY || (value >= 0 && value <= highest);
    };
    Callback registered{};
    std::vector<Pending> enumeration;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        libusb_context* const context = resolve(s, ctx, "libusb_hotplug_register_callback");
        if (context == nullptr)
            return LIBUSB_ERROR_INVALID_PARAM;
        if (!s.hotplug)
            return LIBUSB_ERROR_NOT_SUPPORTED;
        if (events == 0 || (events & ~anyEvent) != 0 || (flags & ~LIBUSB_HOTPLUG_ENUMERATE) != 0 ||
            !inRange(vendor_id, 0xFFFF) || !inRange(product_id, 0xFFFF) ||
            !inRange(dev_class, 0xFF) || cb_fn == nullptr)
            return LIBUSB_ERROR_INVALID_PARAM;
        sync(s);
        registered = Callback{s.nextHandle++, context,   events, vendor_id,
                              product_id,     dev_class, cb_fn,  user_data};
        s.callbacks.push_back(registered);
        if ((flags & LIBUSB_HOTPLUG_ENUMERATE) != 0 &&
            (events & LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED) != 0) {
            for (libusb_device* device : s.bus) {
                if (matches(registered, *device))
                    enumeration.push_back(
                        Pending{registered.handle, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, device});
            }
        }
    }
    // As in real libusb: the attached devices are reported from inside this call, before the
    // handle is written.
    for (Pending const& event : enumeration) {
        if (!deliver(s, registered.context, event))
            break;
    }
    if (callback_handle != nullptr)
        *callback_handle = registered.handle;
    return LIBUSB_SUCCESS;
}

void libusb_hotplug_deregister_callback(libusb_context* ctx,
                                        libusb_hotplug_callback_handle callback_handle) {
    State& s = state();
    s.book.record("libusb_hotplug_deregister_callback", number(callback_handle));
    std::lock_guard<std::mutex> lock(s.mutex);
    libusb_context* const context = resolve(s, ctx, "libusb_hotplug_deregister_callback");
    if (context == nullptr)
        return;
    Callback const* const callback = findCallback(s, callback_handle);
    if (callback != nullptr && callback->context == context)
        deregister(s, callback_handle);
}

int libusb_handle_events_timeout_completed(libusb_context* ctx, struct timeval* tv,
                                           int* completed) {
    State& s = state();
    s.book.count("libusb_handle_events_timeout_completed"); // polled: counted, not logged
    if (simdev::failing("libusb_handle_events_timeout_completed"))
        return LIBUSB_ERROR_OTHER;
    std::deque<Pending> batch;
    libusb_context* context = nullptr;
    {
        std::unique_lock<std::mutex> lock(s.mutex);
        context = resolve(s, ctx, "libusb_handle_events_timeout_completed");
        if (context == nullptr)
            return LIBUSB_ERROR_INVALID_PARAM;
        if (tv == nullptr) {
            s.book.violation("libusb_handle_events_timeout_completed with a NULL timeout");
            return LIBUSB_ERROR_INVALID_PARAM;
        }
        if (tv->tv_sec < 0 || tv->tv_usec < 0 || tv->tv_usec >= 1000000)
            return LIBUSB_ERROR_INVALID_PARAM;
        if (completed != nullptr && *completed != 0)
            return LIBUSB_SUCCESS;
        sync(s);
        if (context->queue.empty() && (tv->tv_sec > 0 || tv->tv_usec > 0)) {
            auto const deadline = std::chrono::steady_clock::now() +
                                  std::chrono::seconds(tv->tv_sec) +
                                  std::chrono::microseconds(tv->tv_usec);
            s.changed.wait_until(lock, deadline,
                                 [&] { return !context->live || !context->queue.empty(); });
            if (!context->live) {
                s.book.violation("libusb_exit of a context while events were handled on it");
                return LIBUSB_ERROR_INVALID_PARAM;
            }
        }
        batch.swap(context->queue);
    }
    for (Pending const& event : batch)
        deliver(s, context, event);
    return LIBUSB_SUCCESS;
}

int libusb_get_device_descriptor(libusb_device* dev, struct libusb_device_descriptor* desc) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    bool const known = s.knownDevices.count(dev) != 0;
    s.book.record("libusb_get_device_descriptor",
                  known ? simdev::hexArgument(dev->usb.vendorId) + ":" +
                              simdev::hexArgument(dev->usb.productId)
                        : std::string(dev == nullptr ? "NULL" : "?"));
    if (!known) {
        s.book.violation(
            "libusb_get_device_descriptor with a device this library did not hand out");
        return LIBUSB_ERROR_INVALID_PARAM;
    }
    if (desc == nullptr) {
        s.book.violation("libusb_get_device_descriptor with a NULL descriptor");
        return LIBUSB_ERROR_INVALID_PARAM;
    }
    sim::AttachedUsbDevice const usb = dev->usb;
    lock.unlock();
    if (simdev::failing("libusb_get_device_descriptor"))
        return LIBUSB_ERROR_OTHER;
    desc->bLength = LIBUSB_DT_DEVICE_SIZE;
    desc->bDescriptorType = LIBUSB_DT_DEVICE;
    desc->bcdUSB = 0x0200;
    desc->bDeviceClass = kDeviceClass;
    desc->bDeviceSubClass = 0;
    desc->bDeviceProtocol = 0;
    desc->bMaxPacketSize0 = 64;
    desc->idVendor = usb.vendorId;
    desc->idProduct = usb.productId;
    desc->bcdDevice = usb.bcdDevice;
    desc->iManufacturer = 1;
    desc->iProduct = 2;
    desc->iSerialNumber = 3;
    desc->bNumConfigurations = 1;
    return LIBUSB_SUCCESS;
}

void SimUsbReset(void) {
    State& s = state();
    s.book.reset();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.hotplug = true;
}

uint64_t SimUsbCallCount(const char* function) {
    return state().book.callCount(function);
}

size_t SimUsbCallLogSize(void) {
    return state().book.logSize();
}

int32_t SimUsbCallAt(size_t index, const char** call) {
    char const* const entry = state().book.logAt(index);
    if (entry == nullptr || call == nullptr)
        return -1;
    *call = entry;
    return 0;
}

size_t SimUsbViolationCount(void) {
    return state().book.violations();
}

void SimUsbSetHotplugCapability(int32_t supported) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.hotplug = supported != 0;
}

size_t SimUsbContextCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::size_t live = 0;
    for (libusb_context const& context : s.contexts)
        live += context.live ? 1 : 0;
    return live;
}

size_t SimUsbCallbackCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.callbacks.size();
}

size_t SimUsbPendingEventCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    std::size_t pending = 0;
    for (libusb_context const& context : s.contexts)
        pending += context.queue.size();
    return pending;
}

uint64_t SimUsbDeliveredCount(void) {
    State& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.delivered;
}

int32_t SimUsbWaitForDelivered(uint64_t count, uint32_t timeoutMs) {
    State& s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    return s.changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return s.delivered >= count; })
               ? 1
               : 0;
}

} // extern "C"
