// kavri::DllLibusb: libusb-1.0 opened at run time, and its seven functions behind thin wrappers.
#pragma once

#include "loader/dynamic_library.h"

#include <libusb-1.0/libusb.h>

#include <string>
#include <vector>

namespace kavri {

// Where libusb is looked for, in order: the bare names "libusb-1.0.so.1" and "libusb-1.0.so.0"
// (the dynamic loader's own search), then each non-empty directory of `ldLibraryPath` (split at
// ':'; null = unset) joined with those two names.
std::vector<std::string> LibusbCandidates(char const* ldLibraryPath);

// Each wrapper looks its function up at the call, in the opened library only. A missing function
// (or no library) reports failure:
// has_capability 0; init, hotplug_register, handle_events_timeout_completed and
// get_device_descriptor LIBUSB_ERROR_OTHER (-99); exit and hotplug_deregister do nothing.
class DllLibusb final : public DynamicLibrary {
public:
    // Loads the first candidate that exports all seven functions; none: stays closed.
    DllLibusb();

    // Open, and all seven functions resolve.
    bool isAvailable() const;
    // The candidates for this process's LD_LIBRARY_PATH.
    std::vector<std::string> libraryPathList() const;
    // Tries the candidates in order (see the constructor); true when one serves.
    bool init();

    int init(libusb_context** context) const;
    void exit(libusb_context* context) const;
    int has_capability(std::uint32_t capability) const;
    int hotplug_register(libusb_context* context, int events, int flags, int vendorId,
                         int productId, int deviceClass, libusb_hotplug_callback_fn callback,
                         void* userData, libusb_hotplug_callback_handle* handle) const;
    void hotplug_deregister(libusb_context* context, libusb_hotplug_callback_handle handle) const;
    int handle_events_timeout_completed(libusb_context* context, timeval* timeout,
                                        int* completed) const;
    int get_device_descriptor(libusb_device* device, libusb_device_descriptor* descriptor) const;

private:
    // The function in the opened library; null while none is open (never another copy of libusb
    // that the process may have loaded).
    template <typename Function>
    Function find(char const* name) const {
        return handle() == nullptr ? nullptr : lookup<Function>(name);
    }
};

} // namespace kavri
