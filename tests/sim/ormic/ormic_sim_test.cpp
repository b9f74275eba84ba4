// The system-information stand-in: end markers, snapshot lifetimes, adapters of screens.
#include "../world/declared_names.h"
#include "elf_dynamic.h"
#include "platform/ormic.h"
#include "platform/scrinfo2.h"
#include "sim/host/exports_directory.h"
#include "sim/sim_control.h"
#include "sim/world/world.h"

#include <dlfcn.h>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

class Ormic : public ::testing::Test {
protected:
    void SetUp() override {
        SimWorldReset();
        SimOrmicResetCounts();
    }
    void TearDown() override {
        MiReleaseScreens();
        SimWorldReset();
    }
};

std::vector<std::string> usbNames(OrmSnapshot* snapshot) {
    std::vector<std::string> names;
    for (std::uint32_t i = 0; OrmUSBDevice* d = OrmEnumUSBDevice(snapshot, i); ++i)
        names.push_back(OrmGetUSBDeviceName(d));
    return names;
}

TEST_F(Ormic, EnumerationsEndWithTheirMarkers) {
    EXPECT_STREQ(OrmEnumIPAddress(1, 0), "192.168.178.24");
    EXPECT_STREQ(OrmEnumIPAddress(1, 1), "");
    EXPECT_STREQ(OrmEnumIPAddress(2, 1), "fe80::8e1a:52ff:fe3c:9d10");
    EXPECT_STREQ(OrmEnumIPAddress(3, 0), "");
    EXPECT_STREQ(OrmEnumLocaleLanguage(0), "de-DE");
    EXPECT_EQ(OrmEnumLocaleLanguage(4), nullptr);
    EXPECT_NE(OrmEnumVGA(0), nullptr);
    EXPECT_EQ(OrmEnumVGA(1), nullptr);
    EXPECT_EQ(OrmEnumRunningProcess(nullptr, 0), nullptr);
    EXPECT_STREQ(OrmGetOSNameShort(), "Debian");
}

TEST_F(Ormic, ASnapshotKeepsTheWorldOfItsCreationUntilReleased) {
    OrmSnapshot* const before = OrmCreateUSBDeviceSnapshot();
    ASSERT_NE(before, nullptr);
    std::vector<std::string> const attached = usbNames(before);
    EXPECT_EQ(attached.size(), 7U) << "four system devices, monitor, sensor, lighting device";
    OrmUSBDevice* const monitor = OrmEnumUSBDevice(before, 4);
    EXPECT_EQ(OrmGetUSBDeviceVendorID(monitor), kavri::kOvakVendorId);
    EXPECT_EQ(OrmGetUSBDeviceProductID(monitor), 0x4012);

    ASSERT_EQ(SimWorldSetAttached("monitors", "23A04117", 0), nullptr);
    OrmSnapshot* const after = OrmCreateUSBDeviceSnapshot();
    EXPECT_EQ(usbNames(after).size(), 6U);
    EXPECT_EQ(usbNames(before), attached);
    EXPECT_STREQ(OrmGetUSBDeviceName(monitor), "OVK-P27U");
    EXPECT_EQ(OrmEnumRunningProcess(before, 0), nullptr) << "another kind of snapshot";
    EXPECT_EQ(SimOrmicOpenSnapshotCount(), 2U);

    OrmReleaseSnapshot(before);
    OrmReleaseSnapshot(after);
    OrmReleaseSnapshot(nullptr);
    EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0U);
    EXPECT_EQ(SimOrmicViolationCount(), 0U);

    EXPECT_STREQ(OrmGetUSBDeviceName(monitor), "") << "entries end with their snapshot";
    OrmReleaseSnapshot(before);
    EXPECT_EQ(SimOrmicViolationCount(), 2U);
}

TEST_F(Ormic, AScreensAdapterIsTheProcessWideAdapterObject) {
    MiFindScreens();
    MiScreen* const screen = MiGetScreenAtIndex(0);
    OrmVGA* const adapter = OrmGetVGAOfScreen(screen);
    ASSERT_NE(adapter, nullptr);
    EXPECT_EQ(adapter, OrmEnumVGA(0));
    EXPECT_STREQ(OrmGetVGADriverName(adapter), "i915");
    EXPECT_EQ(OrmGetVGADeviceLocationID(adapter), 16U);
    MiFindScreens();
    EXPECT_EQ(OrmGetVGAOfScreen(screen), nullptr) << "a stale screen handle";

    ASSERT_EQ(SimWorldPatch(R"({"system":{"graphicsAdapters":[]},
                                "screens":[{"id":"DP-1"}]})"),
              nullptr);
    EXPECT_STREQ(OrmGetVGAName(adapter), "") << "[P] handle of an adapter that is gone";
    EXPECT_EQ(OrmGetVGAVRAMSize(adapter), 0U);
}

TEST_F(Ormic, EachScreenOfALongListHasItsOwnAdapter) {
    // Screens take the adapters in turn, every third one has none.
    int const screens = 30;
    std::string list;
    for (int i = 0; i < screens; ++i) {
        list += (i ? "," : "") + std::string(R"({"id":"S)") + std::to_string(i) + R"(")";
        if (i % 3 != 2)
            list += R"(,"graphicsAdapter":"g)" + std::to_string(i % 3) + R"(")";
        list += "}";
    }
    std::string const patch = R"({"system":{"graphicsAdapters":[{"id":"g0","name":"Zero"},)"
                              R"({"id":"g1","name":"One"}]},"screens":[)" +
                              list + "]}";
    ASSERT_EQ(SimWorldPatch(patch.c_str()), nullptr);
    MiFindScreens();
    ASSERT_EQ(MiGetScreenCount(), static_cast<std::uint32_t>(screens));
    for (int i = screens - 1; i >= 0; --i) {
        SCOPED_TRACE("screen " + std::to_string(i));
        OrmVGA* const adapter =
            OrmGetVGAOfScreen(MiGetScreenAtIndex(static_cast<std::uint32_t>(i)));
        if (i % 3 == 2) {
            EXPECT_EQ(adapter, nullptr);
            continue;
        }
        ASSERT_NE(adapter, nullptr);
        EXPECT_EQ(adapter, OrmEnumVGA(static_cast<std::uint32_t>(i % 3)));
        EXPECT_STREQ(OrmGetVGAName(adapter), i % 3 == 0 ? "Zero" : "One");
    }
    EXPECT_EQ(OrmGetVGAOfScreen(nullptr), nullptr);
}

TEST_F(Ormic, FactsAndCallsMadeToFail) {
    OrmMemoryInformation info{1, 2, 3.0};
    SimWorldFailCalls("OrmGetMemoryInformation", 1);
    EXPECT_EQ(OrmGetMemoryInformation(&info), 0);
    EXPECT_EQ(info.total, 1U) << "untouched";
    EXPECT_NE(OrmGetMemoryInformation(&info), 0);
    EXPECT_EQ(info.total, 15734U);

    SimWorldFailCalls("OrmCreatePrinterSnapshot", 1);
    EXPECT_EQ(OrmCreatePrinterSnapshot(), nullptr);
    EXPECT_EQ(OrmIsProcessRunning("gimp-2.10", 0), 1);
    EXPECT_EQ(OrmIsProcessRunning("gimp", 0), 0);
    SimWorldFailCalls("OrmGetUserName", 1);
    EXPECT_STREQ(OrmGetUserName(), "");
    EXPECT_STREQ(OrmGetUserName(), "alex");
}

TEST_F(Ormic, ThreadsWalkTheirOwnSnapshotsWhileTheWorldChanges) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 200; ++i) {
                OrmSnapshot* const snapshot = OrmCreateRunningProcessSnapshot();
                for (std::uint32_t k = 0; OrmProcess* p = OrmEnumRunningProcess(snapshot, k); ++k)
                    EXPECT_NE(OrmGetProcessName(p)[0], '\0');
                OrmReleaseSnapshot(snapshot);
                EXPECT_EQ(std::string(OrmGetPCVendorName()), "Northwind Systems");
            }
        });
    }
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(SimWorldSetAttached("sensors", "2001", i % 2), nullptr);
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0U);
    EXPECT_EQ(SimOrmicViolationCount(), 0U);
}

TEST(OrmicFiles, ExportExactlyTheDeclaredFunctionsAndAreOneInstanceWithTheRunTimeName) {
    std::set<std::string> const declared =
        test::declaredFunctions(TOLMA_PLATFORM_DIR "/ormic.h", "Orm");
    EXPECT_EQ(declared.size(), 63U);
    test::ElfDynamic const elf =
        test::readElfDynamic(sim::host::standInDirectory() + "/libormic_x64.so.1");
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.soname, "libormic_x64.so.1");
    std::set<std::string> libraryNames;
    for (std::string const& name : elf.defined) {
        if (name.compare(0, 3, "Sim") != 0)
            libraryNames.insert(name);
    }
    EXPECT_EQ(libraryNames, declared);

    // A snapshot made by the linked function is released through the run-time name.
    void* const runTime =
        dlopen((sim::host::standInDirectory() + "/libormic_x64.so").c_str(), RTLD_LAZY);
    ASSERT_NE(runTime, nullptr) << dlerror();
    auto const create = reinterpret_cast<decltype(&OrmCreateCurrentApplicationWindowSnapshot)>(
        dlsym(runTime, "OrmCreateCurrentApplicationWindowSnapshot"));
    ASSERT_NE(create, nullptr);
    OrmSnapshot* const windows = create();
    EXPECT_NE(OrmEnumApplicationWindow(windows, 0), nullptr);
    OrmReleaseSnapshot(windows);
    EXPECT_EQ(SimOrmicOpenSnapshotCount(), 0U);
    dlclose(runTime);

    // Absent: an exports directory without the file.
    sim::host::ExportsDirectory const without(sim::host::standInDirectory(), {"libormic_x64.so"});
    ASSERT_FALSE(without.path().empty());
    EXPECT_EQ(dlopen((without.path() + "/libormic_x64.so").c_str(), RTLD_LAZY), nullptr);
    void* const present = dlopen((without.path() + "/libscrinfo2_x64.so").c_str(), RTLD_LAZY);
    EXPECT_NE(present, nullptr);
    if (present != nullptr)
        dlclose(present);
}

} // namespace
