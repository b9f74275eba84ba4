// The hot-plug watcher's pure parts: the maker's product categories, event routing, libusb paths.
#include "notification/device_notification_manager.h"
#include "notification/dll_libusb.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace kavri::notification;
using std::chrono::microseconds;

TEST(OvakDeviceCategory, FollowsBits15And14OfTheProductIdOnly) {
    struct Row {
        std::uint16_t productId;
        int category;
    };
    std::vector<Row> const rows = {
        {0x4000, 1}, {0x4001, 1}, {0x4005, 1}, {0x7FFF, 1}, // 01: monitors
        {0x8000, 2}, {0x8100, 3},                            // 10: a sensor, a lighting device
        {0x8001, 0}, {0x80FF, 0}, {0x8101, 0}, {0xBFFF, 0}, // 10: anything else is nothing
        {0xC000, 0}, {0xC100, 0}, {0xFFFF, 0},              // 11: nothing
        {0x0002, 1}, {0x000D, 2},                            // 00: two older products
        {0x0000, 0}, {0x0001, 0}, {0x0003, 0}, {0x000C, 0}, {0x000E, 0}, {0x3FFF, 0}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.productId);
        // The vendor id is ignored on purpose.
        for (std::uint16_t vendorId : std::vector<std::uint16_t>{0x29AB, 0x0000, 0x0403})
            EXPECT_EQ(GetOvakDeviceCategory(row.productId, vendorId), row.category);
    }
}

TEST(DeviceEventRouting, PicksTheManagerAndTheDelayByVendorAndProduct) {
    struct Row {
        std::int32_t kind;
        std::uint16_t vendorId;
        std::uint16_t productId;
        DeviceUpdate update;
        microseconds delay;
    };
    microseconds const ovak(600000);
    microseconds const other(300000);
    microseconds const none(0);
    std::vector<Row> rows = {
        {1, 0x29AB, 0x4001, DeviceUpdate::Monitors, ovak},
        {2, 0x29AB, 0x4001, DeviceUpdate::Monitors, ovak},
        {1, 0x29AB, 0x0002, DeviceUpdate::Monitors, ovak},
        {1, 0x29AB, 0x8000, DeviceUpdate::Sensors, ovak},
        {2, 0x29AB, 0x000D, DeviceUpdate::Sensors, ovak},
        {1, 0x29AB, 0x8100, DeviceUpdate::Lighting, ovak},
        {1, 0x29AB, 0x8200, DeviceUpdate::None, none},
        {1, 0x29AB, 0xC000, DeviceUpdate::None, none},
        {1, 0x0403, 0x6001, DeviceUpdate::SerialSensors, other},
        {2, 0x0403, 0x0000, DeviceUpdate::SerialSensors, other},
        {1, 0x0404, 0x6001, DeviceUpdate::None, none},
        {1, 0x1D6B, 0x0002, DeviceUpdate::None, none},
        {1, 0x0000, 0x4001, DeviceUpdate::None, none},
        {0, 0x29AB, 0x4001, DeviceUpdate::None, none}, // no kind: nothing
        {0, 0x0403, 0x6001, DeviceUpdate::None, none},
    };
    // Every other maker's instruments are sensors, whatever the product.
    for (std::uint16_t vendorId : std::vector<std::uint16_t>{
             0x0670, 0x0686, 0x0765, 0x085C, 0x0971, 0x0C49, 0x132B, 0x1742, 0x24D9}) {
        rows.push_back({1, vendorId, 0x0001, DeviceUpdate::Sensors, other});
        rows.push_back({2, vendorId, 0x4001, DeviceUpdate::Sensors, other});
        // The neighbours of a listed vendor are nobody's.
        rows.push_back({1, static_cast<std::uint16_t>(vendorId + 1), 0x0001, DeviceUpdate::None,
                        none});
    }
    for (Row const& row : rows) {
        SCOPED_TRACE(std::to_string(row.kind) + " " + std::to_string(row.vendorId) + ":" +
                     std::to_string(row.productId));
        DeviceEventAction const action =
            ActionForDeviceEvent(DeviceEvent{row.kind, row.vendorId, row.productId});
        EXPECT_EQ(action.update, row.update);
        EXPECT_EQ(action.delay.count(), row.delay.count());
    }
}

TEST(LibusbCandidates, BareNamesFirstThenEachLibraryPathDirectory) {
    struct Row {
        char const* ldLibraryPath;
        std::vector<std::string> extra;
    };
    std::vector<Row> const rows = {
        {nullptr, {}},
        {"", {}},
        {":::", {}},
        {"/opt/a", {"/opt/a/libusb-1.0.so.1", "/opt/a/libusb-1.0.so.0"}},
        {"/opt/a/:rel", {"/opt/a/libusb-1.0.so.1", "/opt/a/libusb-1.0.so.0",
                         "rel/libusb-1.0.so.1", "rel/libusb-1.0.so.0"}},
        {"::/b//", {"/b//libusb-1.0.so.1", "/b//libusb-1.0.so.0"}},
        {"/x\\", {"/x/libusb-1.0.so.1", "/x/libusb-1.0.so.0"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.ldLibraryPath == nullptr ? "(unset)" : row.ldLibraryPath);
        std::vector<std::string> expected = {"libusb-1.0.so.1", "libusb-1.0.so.0"};
        expected.insert(expected.end(), row.extra.begin(), row.extra.end());
        EXPECT_EQ(kavri::LibusbCandidates(row.ldLibraryPath), expected);
    }
}

} // namespace
