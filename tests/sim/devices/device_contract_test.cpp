// What the device libraries promise beyond the lists: markers, handle lifetimes, locks, failures.
#include "device_world.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

namespace {

using namespace devicetest;
using namespace std::chrono_literals;

using DeviceContract = DeviceWorld;

TEST_F(DeviceContract, NoEntryLeavesOutputsUntouched) {
    char serial[9] = "unset";
    char product[17] = "unset";
    EXPECT_LT(VqCtrlGetSerialProduct(2, serial, product), 0);
    EXPECT_STREQ(serial, "unset");
    EXPECT_STREQ(product, "unset");

    std::uint32_t deviceId = 99;
    std::uint64_t individualId = 99;
    EXPECT_LT(MDEnumConnectedDevices(2, &deviceId, &individualId), 0);
    EXPECT_EQ(deviceId, 99U);
    EXPECT_EQ(individualId, 99U);

    VqDevice* device = reinterpret_cast<VqDevice*>(&deviceId);
    EXPECT_LT(retrieve(VQ_KIND_LIGHTING, 1, &device), 0);
    EXPECT_LT(retrieve(3, 0, &device), 0);
    EXPECT_EQ(device, reinterpret_cast<VqDevice*>(&deviceId));

    // "None" answers write NULL.
    VqHidDevice* hid = hidHandle("M0000001", "OVK-T27");
    EXPECT_EQ(hid, nullptr);
    PeltoSensor* sensor = reinterpret_cast<PeltoSensor*>(&deviceId);
    handleForId(12345, &sensor);
    EXPECT_EQ(sensor, nullptr);
}

TEST_F(DeviceContract, FeatureArrayCopiesWithoutNulAndFlagsTruncation) {
    VqDevice* device = nullptr;
    ASSERT_EQ(retrieve(VQ_KIND_LIGHTING, 0, &device), 0);
    std::uint8_t buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(featureArray(device, VQ_PAGE_FIXED, VQ_CODE_PRODUCT, buffer, 3), VQ_STATUS_PARTIAL);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 8), "OVK#####");
    EXPECT_EQ(featureArray(device, VQ_PAGE_FIXED, VQ_CODE_PRODUCT, buffer, 8), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 8), "OVK-LB50");
    EXPECT_LT(featureArray(device, 0x1234, VQ_CODE_PRODUCT, buffer, 8), 0);
}

TEST_F(DeviceContract, LightingStatusesComeFromTheWorld) {
    ASSERT_EQ(sim::world().modify("lightingDevices", "LB000001",
                                  R"({"status": {"product": {"featureArray": -2147483642},
                                                 "serial": {"fixedData": -5}}})"),
              "");
    EXPECT_EQ(updateEx(VQ_KIND_LIGHTING), 0);
    VqDevice* device = nullptr;
    ASSERT_EQ(retrieve(VQ_KIND_LIGHTING, 0, &device), 0);
    EXPECT_EQ(text(device, VQ_CODE_PRODUCT), "OVK-LB50"); // partial still delivers the bytes
    EXPECT_EQ(text(device, VQ_CODE_SERIAL), "<fixed data -5>");

    ASSERT_EQ(sim::world().modify("lightingDevices", "LB000001", R"({"status": {"retrieve": -9}})"),
              "");
    EXPECT_EQ(updateEx(VQ_KIND_LIGHTING), 0);
    EXPECT_EQ(retrieve(VQ_KIND_LIGHTING, 0, &device), -9);
}

TEST_F(DeviceContract, LightingHandlesGoStaleAtTheNextSearch) {
    VqDevice* device = nullptr;
    ASSERT_EQ(retrieve(VQ_KIND_LIGHTING, 0, &device), 0);
    EXPECT_EQ(updateEx(VQ_KIND_LIGHTING), 0);
    std::uint8_t buffer[8];
    EXPECT_LT(featureArray(device, VQ_PAGE_FIXED, VQ_CODE_SERIAL, buffer, sizeof buffer), 0);
    EXPECT_EQ(dispctl.violations(), 1U);
}

TEST_F(DeviceContract, HidHandleIsKeptWhileTheMonitorStaysAttached) {
    VqHidDevice* const first = hidHandle("M0000002", "OVK-T27");
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    EXPECT_EQ(hidHandle("M0000002", "OVK-T27"), first);
    ASSERT_EQ(plug("monitors", "M0000002", false), "");
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    ASSERT_EQ(plug("monitors", "M0000002", true), "");
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    EXPECT_NE(hidHandle("M0000002", "OVK-T27"), first);
}

TEST_F(DeviceContract, SensorLockIsRecursiveAndKeepsOtherThreadsWaiting) {
    auto const lock = pelto.function<decltype(&PeltoLockSensors)>("PeltoLockSensors");
    auto const unlock = pelto.function<decltype(&PeltoUnlockSensors)>("PeltoUnlockSensors");
    auto const depth = pelto.function<decltype(&SimPeltoLockDepth)>("SimPeltoLockDepth");
    lock();
    lock();
    EXPECT_EQ(depth(), 2U);
    std::atomic<bool> answered{false};
    std::thread other([&] {
        PeltoSensor* sensor = nullptr;
        handleForId(7, &sensor);
        answered = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(answered);
    unlock();
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(answered);
    unlock();
    other.join();
    EXPECT_TRUE(answered);
    EXPECT_EQ(depth(), 0U);

    EXPECT_LT(unlock(), 0); // not held by this thread
    EXPECT_EQ(pelto.violations(), 1U);
}

TEST_F(DeviceContract, RemovedSensorHandleIsInvalid) {
    PeltoSensor* sensor = nullptr;
    handleForId(41, &sensor);
    ASSERT_NE(sensor, nullptr);
    EXPECT_EQ(removeSensor(sensor), 0);
    EXPECT_LT(removeSensor(sensor), 0);
    EXPECT_LT(removeSensor(nullptr), 0);
    EXPECT_EQ(pelto.violations(), 2U);
    // Still attached: the library sees it again, under a new handle.
    PeltoSensor* again = nullptr;
    handleForId(41, &again);
    EXPECT_NE(again, nullptr);
    EXPECT_NE(again, sensor);
}

TEST_F(DeviceContract, CallMadeToFailHasNoEffect) {
    ASSERT_EQ(plug("monitors", "M0000002", false), "");
    sim::world().failCalls("VqCtrlFind", 1);
    sim::world().failCalls("MDEnumConnectedDevices", sim::kFailAlways);
    sim::world().failCalls("PeltoGetHandleForDeviceID", 1);

    EXPECT_LT(VqCtrlFind(0, 0), 0);
    EXPECT_EQ(VqCtrlGetNumMonitors(), 2U);
    EXPECT_EQ(VqCtrlFind(0, 0), 0);
    EXPECT_EQ(VqCtrlGetNumMonitors(), 1U);

    std::uint32_t deviceId = 99;
    std::uint64_t individualId = 99;
    EXPECT_LT(MDEnumConnectedDevices(0, &deviceId, &individualId), 0);
    EXPECT_EQ(deviceId, 99U);
    EXPECT_LT(MDEnumConnectedDevices(0, &deviceId, &individualId), 0);

    PeltoSensor* sensor = nullptr;
    EXPECT_LT(handleForId(7, &sensor), 0);
    EXPECT_EQ(sensor, nullptr);
    EXPECT_EQ(handleForId(7, &sensor), 0);
    EXPECT_NE(sensor, nullptr);
}

TEST_F(DeviceContract, CallLogNamesEachCallWithItsArguments) {
    VqCtrlFind(0, 0);
    char serial[9];
    char product[17];
    VqCtrlGetSerialProduct(1, serial, product);
    VqHidDevice* handle = nullptr;
    VqCtrlGetHIDHandle(serial, product, &handle);
    sim::DeviceStandIn vqc(sim::vqcPath(), "Vqc");
    EXPECT_EQ(vqc.calls(),
              (std::vector<std::string>{"VqCtrlFind(0, 0)", "VqCtrlGetSerialProduct(1)",
                                        "VqCtrlGetHIDHandle(M0000002, OVK-T27)"}));
    EXPECT_EQ(vqc.callCount("VqCtrlFind"), 1U);
}

} // namespace
