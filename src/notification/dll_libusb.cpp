// DllLibusb: the candidate list, the loading and the wrappers' failure values.
#include "notification/dll_libusb.h"

#include <cstdlib>

namespace kavri {

namespace {

constexpr char const* kLibusbNames[] = {"libusb-1.0.so.1", "libusb-1.0.so.0"};
constexpr char const* kLibusbFunctions[] = {
    "libusb_init",
    "libusb_exit",
    "libusb_has_capability",
    "libusb_hotplug_register_callback",
    "libusb_hotplug_deregister_callback",
    "libusb_handle_events_timeout_completed",
    "libusb_get_device_descriptor",
};

} // namespace

std::vector<std::string> LibusbCandidates(char const* ldLibraryPath) {
    std::vector<std::string> candidates(std::begin(kLibusbNames), std::end(kLibusbNames));
    if (ldLibraryPath == nullptr)
        return candidates;
    std::string const list(ldLibraryPath);
    for (std::size_t start = 0; start <= list.size();) {
        std::size_t end = list.find(':', start);
        if (end == std::string::npos)
            end = list.size();
        std::string const directory = list.substr(start, end - start);
        if (!directory.empty())
            for (char const* name : kLibusbNames)
                candidates.push_back((fs::Path(directory) / name).str());
        start = end + 1;
    }
    return candidates;
}

DllLibusb::DllLibusb() {
    init();
}

bool DllLibusb::isAvailable() const {
    if (handle() == nullptr)
        return false;
    for (char const* name : kLibusbFunctions)
        if (lookup<void (*)()>(name) == nullptr)
            return false;
    return true;
}

std::vector<std::string> DllLibusb::libraryPathList() const {
    return LibusbCandidates(std::getenv("LD_LIBRARY_PATH"));
}

bool DllLibusb::init() {
    for (std::string const& candidate : libraryPathList()) {
        if (!open(fs::Path(candidate)))
            continue;
        if (isAvailable())
            return true;
        release();
    }
    return false;
}

int DllLibusb::init(libusb_context** context) const {
    auto function = find<decltype(&libusb_init)>("libusb_init");
    return function != nullptr ? function(context) : LIBUSB_ERROR_OTHER;
}

void DllLibusb::exit(libusb_context* context) const {
    if (auto function = find<decltype(&libusb_exit)>("libusb_exit"))
        function(context);
}

int DllLibusb::has_capability(std::uint32_t capability) const {
    auto function = find<decltype(&libusb_has_capability)>("libusb_has_capability");
    return function != nullptr ? function(capability) : 0;
}

int DllLibusb::hotplug_register(libusb_context* context, int events, int flags, int vendorId,
                                int productId, int deviceClass,
                                libusb_hotplug_callback_fn callback, void* userData,
                                libusb_hotplug_callback_handle* handle) const {
    auto function = find<decltype(&libusb_hotplug_register_callback)>("libusb_hotplug_register_callback");
    return function != nullptr ? function(context, events, flags, vendorId, productId,
                                          deviceClass, callback, userData, handle)
                               : LIBUSB_ERROR_OTHER;
}

void DllLibusb::hotplug_deregister(libusb_context* context,
                                   libusb_hotplug_callback_handle handle) const {
    if (auto function = find<decltype(&libusb_hotplug_deregister_callback)>("libusb_hotplug_deregister_callback"))
        function(context, handle);
}

int DllLibusb::handle_events_timeout_completed(libusb_context* context, timeval* timeout,
                                               int* completed) const {
    auto function = find<decltype(&libusb_handle_events_timeout_completed)>("libusb_handle_events_timeout_completed");
    return function != nullptr ? function(context, timeout, completed) : LIBUSB_ERROR_OTHER;
}

int DllLibusb::get_device_descriptor(libusb_device* device,
                                     libusb_device_descriptor* descriptor) const {
    auto function = find<decltype(&libusb_get_device_descriptor)>("libusb_get_device_descriptor");
    return function != nullptr ? function(device, descriptor) : LIBUSB_ERROR_OTHER;
}

} // namespace kavri
