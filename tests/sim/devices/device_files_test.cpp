// The device stand-ins' files as the dynamic linker sees them: names, sonames, exported names.
#include "elf_dynamic.h"
#include "sim/devices/devices_testing.h"

#include <climits>
#include <cstdlib>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using test::ElfDynamic;
using test::readElfDynamic;

struct DeviceFile {
    std::string path;
    std::string soname;
    std::string linkName; // "" when the library is only opened at run time
    std::set<std::string> functions;
    char const* controls; // the prefix of its own controls
};

std::string resolved(std::string const& path) {
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) != nullptr ? std::string(buffer) : std::string();
}

std::vector<DeviceFile> deviceFiles() {
    std::string const usb = sim::fakeLibusbDirectory() + "/";
    return {
        {sim::vqcPath(),
         "libvqc_x64.so.1",
         sim::deviceLibraryPath("libvqc_x64.so"),
         {"VqCtrlFind", "VqCtrlGetNumMonitors", "VqCtrlGetSerialProduct", "VqCtrlGetHIDHandle"},
         "SimVqc"},
        {sim::meterLinkPath(),
         "libmeterlink_x64.so.2",
         sim::deviceLibraryPath("libmeterlink_x64.so"),
         {"MDEnumConnectedDevices"},
         "SimMeterLink"},
        {sim::dispctlPath(),
         "libdispctl_x64.so",
         "",
         {"VqRetrieveEx", "VqUpdateEx", "VqGetFixedData", "VqGetFeatureArray"},
         "SimDispctl"},
        {sim::peltoPath(),
         "libpelto.so",
         "",
         {"PeltoLockSensors", "PeltoUnlockSensors", "PeltoPreUpdateBuiltInSensorHandle",
          "PeltoUpdateBuiltInSensorHandle", "PeltoGetHandleForHIDHandle",
          "PeltoGetHandleForDeviceID", "PeltoRemoveSensor", "PeltoEnumConnectedSerialSensors"},
         "SimPelto"},
        {usb + "libusb-1.0.so.1",
         "libusb-1.0.so.1",
         "",
         {"libusb_init", "libusb_exit", "libusb_has_capability", "libusb_hotplug_register_callback",
          "libusb_hotplug_deregister_callback", "libusb_handle_events_timeout_completed",
          "libusb_get_device_descriptor"},
         "SimUsb"},
    };
}

TEST(DeviceFiles, CarryTheirSonamesAndLinkNames) {
    for (DeviceFile const& file : deviceFiles()) {
        ElfDynamic const elf = readElfDynamic(file.path);
        ASSERT_TRUE(elf.ok) << file.path << ": " << elf.error;
        EXPECT_EQ(elf.soname, file.soname);
        EXPECT_FALSE(elf.hasVersionDefinitions) << file.path;
        if (!file.linkName.empty()) {
            EXPECT_EQ(resolved(file.linkName), resolved(file.path));
        }
    }
}

TEST(DeviceFiles, ExportExactlyTheirFunctionsAndTheirOwnControls) {
    for (DeviceFile const& file : deviceFiles()) {
        ElfDynamic const elf = readElfDynamic(file.path);
        ASSERT_TRUE(elf.ok) << file.path << ": " << elf.error;
        std::set<std::string> missing;
        std::set<std::string> stray;
        for (std::string const& name : file.functions) {
            if (elf.defined.count(name) == 0)
                missing.insert(name);
        }
        for (std::string const& name : elf.defined) {
            if (file.functions.count(name) == 0 && name.rfind(file.controls, 0) != 0)
                stray.insert(name);
        }
        EXPECT_EQ(missing, std::set<std::string>()) << file.path;
        EXPECT_EQ(stray, std::set<std::string>()) << file.path;
    }
}

TEST(DeviceFiles, FakeLibusbAnswersToBothNames) {
    std::string const directory = sim::fakeLibusbDirectory();
    EXPECT_EQ(resolved(directory + "/libusb-1.0.so.0"), resolved(directory + "/libusb-1.0.so.1"));
    // Only processes that ask for it find it: it is not beside the other stand-ins.
    EXPECT_EQ(resolved(sim::deviceLibraryPath("libusb-1.0.so.1")), "");
}

TEST(DeviceFiles, LibusbVariantLacksOnlyTheFunctionsItWasBuiltWithout) {
    std::string const directory = LIBUSB_WITHOUT_DESCRIPTOR_DIR;
    ElfDynamic const elf = readElfDynamic(directory + "/libusb-1.0.so.1");
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.soname, "libusb-1.0.so.1");
    EXPECT_EQ(resolved(directory + "/libusb-1.0.so.0"), resolved(directory + "/libusb-1.0.so.1"));
    EXPECT_EQ(elf.defined.count("libusb_get_device_descriptor"), 0U);
    EXPECT_EQ(elf.defined.count("libusb_handle_events_timeout_completed"), 1U);
    EXPECT_EQ(elf.defined.count("SimUsbReset"), 1U);
}

} // namespace
