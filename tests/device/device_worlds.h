// The device tests' worlds, the DeviceNotification answers they expect, and the shared fixture.
#pragma once

#include "plugin_test.h"
#include "sim/devices/devices_testing.h"
#include "sim/records.h"
#include "sim/sim_control.h"
#include "wait_until.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace devicetest {

// A world of devices only (members "monitors", "sensors", ... as JSON member text, or ""), with
// no screen events.
inline std::string deviceWorld(std::string const& members) {
    return R"({"display":{"randrEventBase":0})" + (members.empty() ? "" : "," + members) + "}";
}

// The value of a PUT DeviceNotification: each of the three as {"added":[...],"removed":[...]}.
inline std::string putValue(std::string const& monitors, std::string const& sensors,
                            std::string const& lights, bool supports = true) {
    return R"({"lightingEquipments":)" + lights + R"(,"monitors":)" + monitors +
           R"(,"sensors":)" + sensors + R"(,"supports":)" + (supports ? "true" : "false") + "}";
}
inline std::string const kNoChange = R"({"added":[],"removed":[]})";

// Pelto's record of forgotten sensors, "deviceId" or "deviceId of MONITOR-SERIAL".
inline std::vector<std::string> forgottenSensors(sim::DeviceStandIn const& pelto) {
    auto count = pelto.function<decltype(&SimPeltoRemovedCount)>("SimPeltoRemovedCount");
    auto at = pelto.function<decltype(&SimPeltoRemovedAt)>("SimPeltoRemovedAt");
    std::vector<std::string> out;
    for (std::size_t i = 0; count != nullptr && at != nullptr && i < count(); ++i) {
        std::uint32_t deviceId = 0;
        std::uint64_t individualId = 0;
        char const* monitor = "";
        std::int32_t serial = 0;
        at(i, &deviceId, &individualId, &monitor, &serial);
        out.push_back(std::to_string(deviceId) +
                      (monitor[0] != '\0' ? std::string(" of ") + monitor : ""));
    }
    return out;
}

// The recorded events named `name` from index `from` on, waiting up to `limit` for the first.
inline std::vector<sim::Event> waitForEvents(std::string const& name, std::size_t from,
                                             std::chrono::milliseconds limit) {
    std::vector<sim::Event> named;
    test::waitUntil(
        [&] {
            for (sim::Event const& event : sim::host::events(from))
                if (event.name == name)
                    named.push_back(event);
            return !named.empty();
        },
        limit);
    return named;
}

// Every device stand-in the plug-in reached saw no contract violation (each is reported).
inline void expectNoStandInViolations() {
    for (auto const& [path, name] : std::vector<std::pair<std::string, std::string>>{
             {sim::vqcPath(), "Vqc"},
             {sim::meterLinkPath(), "MeterLink"},
             {sim::dispctlPath(), "Dispctl"},
             {sim::peltoPath(), "Pelto"}}) {
        sim::DeviceStandIn const standIn(path, name);
        EXPECT_EQ(standIn.violations(), 0u) << name;
    }
}

// The fake libusb that the plug-in opened by its bare name (the same file, so the same instance).
inline sim::DeviceStandIn const& fakeUsb() {
    static sim::DeviceStandIn const* const standIn =
        new sim::DeviceStandIn(sim::fakeLibusbPath(), "Usb");
    return *standIn;
}
// One of the fake libusb's controls, e.g. usbControl<decltype(&SimUsbContextCount)>("...").
template <typename F>
F usbControl(char const* name) {
    return fakeUsb().function<F>(name);
}

// True once the fake libusb has called the callbacks for every queued change; false after `limit`.
inline bool waitForUsbDelivery(std::chrono::milliseconds limit) {
    auto pending = usbControl<decltype(&SimUsbPendingEventCount)>("SimUsbPendingEventCount");
    if (pending == nullptr)
        return false;
    return test::waitUntil([&] { return pending() == 0; }, limit, std::chrono::milliseconds(5));
}

} // namespace devicetest
