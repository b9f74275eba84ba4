// C++ helpers for tests over the device stand-ins: files, and the controls they all share.
#pragma once

#include "sim/devices/devices_control.h"

#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <vector>

namespace sim {

#ifdef TOLMA_SIM_LIBRARY_DIR
// A device stand-in's file in the build's library directory (the tests' exports directory).
inline std::string deviceLibraryPath(std::string const& file) {
    return std::string(TOLMA_SIM_LIBRARY_DIR) + "/" + file;
}
#endif

#ifdef TOLMA_SIM_LIBUSB_DIR
// The fake libusb's directory. The plug-in opens libusb by bare name, which searches
// LD_LIBRARY_PATH as it was when the process started: set it in the test's environment (CTest
// ENVIRONMENT property), not with setenv.
inline std::string fakeLibusbDirectory() {
    return TOLMA_SIM_LIBUSB_DIR;
}
inline std::string fakeLibusbPath() {
    return fakeLibusbDirectory() + "/libusb-1.0.so.1";
}
#endif

// One device stand-in, opened with dlopen by path. A file that is already loaded (linked, or
// opened by the plug-in) is not loaded again, so this reaches the instance the plug-in uses.
// `name` is the controls' infix ("Vqc", "MeterLink", "Dispctl", "Pelto", "Usb"). loaded() is false
// when the file or one of the shared controls is missing; the other members then do nothing and
// return empty results.
class DeviceStandIn {
public:
    DeviceStandIn(std::string const& path, std::string const& name)
        : handle_(dlopen(path.c_str(), RTLD_NOW)), name_(name) {
        if (handle_ == nullptr)
            return;
        bool const ok = find(reset_, "Reset") && find(callCount_, "CallCount") &&
                        find(callAt_, "CallAt") && find(violations_, "ViolationCount");
        if (!ok) {
            dlclose(handle_);
            handle_ = nullptr;
        }
    }
    ~DeviceStandIn() {
        if (handle_ != nullptr)
            dlclose(handle_);
    }
    DeviceStandIn(DeviceStandIn const&) = delete;
    DeviceStandIn& operator=(DeviceStandIn const&) = delete;

    bool loaded() const { return handle_ != nullptr; }

    // Sim<name>Reset: forgets calls and violations (and what else that library documents).
    void reset() const {
        if (loaded())
            reset_();
    }
    std::uint64_t callCount(char const* function) const {
        return loaded() ? callCount_(function) : 0;
    }
    // The call log, "Name(arg, ...)" per call, in call order.
    std::vector<std::string> calls() const {
        std::vector<std::string> out;
        char const* call = nullptr;
        for (std::size_t i = 0; loaded() && callAt_(i, &call) == 0; ++i)
            out.emplace_back(call);
        return out;
    }
    std::size_t violations() const { return loaded() ? violations_() : 0; }

    // Any name the file exports (its library's functions, its own controls) as the declared
    // type F, e.g. function<decltype(&VqRetrieveEx)>("VqRetrieveEx"); nullptr when missing.
    template <typename F>
    F function(char const* symbol) const {
        F out = nullptr;
        void* const address = loaded() ? dlsym(handle_, symbol) : nullptr;
        static_assert(sizeof out == sizeof address, "function and data pointers differ");
        std::memcpy(&out, &address, sizeof out);
        return out;
    }

private:
    template <typename F>
    bool find(F& out, char const* control) {
        out = function<F>(("Sim" + name_ + control).c_str());
        return out != nullptr;
    }

    void* handle_;
    std::string name_;
    void (*reset_)(void) = nullptr;
    std::uint64_t (*callCount_)(char const*) = nullptr;
    std::int32_t (*callAt_)(std::size_t, char const**) = nullptr;
    std::size_t (*violations_)(void) = nullptr;
};

#ifdef TOLMA_SIM_LIBRARY_DIR
// The five device stand-ins of the build, by their usual file names.
inline std::string vqcPath() {
    return deviceLibraryPath("libvqc_x64.so.1");
}
inline std::string meterLinkPath() {
    return deviceLibraryPath("libmeterlink_x64.so.2");
}
inline std::string dispctlPath() {
    return deviceLibraryPath("libdispctl_x64.so");
}
inline std::string peltoPath() {
    return deviceLibraryPath("libpelto.so");
}
#endif

} // namespace sim
