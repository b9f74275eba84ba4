// The screen-information stand-in: list lifetimes, lookups, profile protocol, screen changes.
#include "../world/declared_names.h"
#include "elf_dynamic.h"
#include "platform/pagebridge.h"
#include "platform/scrinfo2.h"
#include "sim/host/exports_directory.h"
#include "sim/sim_control.h"
#include "sim/world/world.h"

#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace {

char const* const kSmallWorld = R"({
  "screens": [
    {"id": "A", "bounds": {"x": 0, "y": 0, "width": 1920, "height": 1080}, "primary": true,
     "profile": "/icc/a.icc", "graphicsAdapter": "gpu",
     "edid": {"productName": "OVK-P24", "serialNumber": "12345678", "isOvakMonitor": true,
              "chromaticity": {"red": {"x": 0.64, "y": 0.33}, "white": {"x": 0.3127, "y": 0.329}}}},
    {"id": "B", "bounds": {"x": 1920, "y": 0, "width": 1280, "height": 1024},
     "pixelRatio": {"x": 2.0, "y": 2.0}, "supportsGraphicsCardGamma": false}
  ],
  "system": {"graphicsAdapters": [{"id": "gpu", "name": "Adapter"}]},
  "display": {"randrEventBase": 90}
})";

class Scrinfo2 : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(SimWorldLoad(kSmallWorld), nullptr);
        SimScrinfoResetCounts();
    }
    void TearDown() override {
        MiReleaseScreens();
        SimWorldReset();
    }
};

// The first test of the file: each test runs in its own process under ctest.
TEST(Scrinfo2Load, ListIsEmptyUntilTheFirstFind) {
    EXPECT_EQ(MiGetScreenCount(), 0U);
    EXPECT_EQ(MiGetScreenAtIndex(0), nullptr);
    MiFindScreens();
    EXPECT_EQ(MiGetScreenCount(), 2U);
    MiReleaseScreens();
    EXPECT_EQ(MiGetScreenCount(), 0U);
    MiReleaseScreens();
    EXPECT_EQ(MiGetScreenCount(), 0U);
}

TEST_F(Scrinfo2, HandlesOfAnEarlierListAreStaleAndAnswerTheUnknownValues) {
    MiFindScreens();
    MiScreen* const first = MiGetScreenAtIndex(0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(MiGetScreenBounds(first).width, 1920);
    MiEdid* const edid = MiGetScreenEdid(first);
    ASSERT_NE(edid, nullptr);
    EXPECT_STREQ(MiGetEdidSerialNumber(edid), "12345678");
    EXPECT_EQ(MiGetScreenEdid(MiGetScreenAtIndex(1)), nullptr);
    EXPECT_EQ(MiGetScreenAtIndex(2), nullptr);

    MiFindScreens();
    EXPECT_NE(MiGetScreenAtIndex(0), first) << "handles are never reused";
    EXPECT_EQ(MiGetScreenBounds(first).width, 0);
    MiScale const scale = MiGetScreenScale(first);
    EXPECT_EQ(scale.x, 1.0);
    EXPECT_STREQ(MiGetEdidSerialNumber(edid), "");
    EXPECT_EQ(SimScrinfoStaleHandleCount(), 3U);
}

TEST_F(Scrinfo2, FindsScreensByMonitorAndByPoint) {
    MiFindScreens();
    EXPECT_EQ(MiGetScreenCountForMonitor("OVK-P24", "12345678"), 1U);
    EXPECT_EQ(MiGetScreenForMonitorAtIndex("OVK-P24", "12345678", 0), MiGetScreenAtIndex(0));
    EXPECT_EQ(MiGetScreenCountForMonitor("12345678", "OVK-P24"), 0U) << "(product, serial)";
    EXPECT_EQ(MiGetScreenCountForPoint(MiPointMake(1920, 5)), 1U);
    EXPECT_EQ(MiGetScreenForPointAtIndex(MiPointMake(1920, 5), 0), MiGetScreenAtIndex(1));
    EXPECT_EQ(MiGetScreenCountForPoint(MiPointMake(-1, 0)), 0U);
    EXPECT_EQ(MiGetScreenForPointAtIndex(MiPointMake(0, 0), 1), nullptr);
}

TEST_F(Scrinfo2, ProfileLengthCountsTheNulAndATooSmallBufferAsksForMore) {
    MiFindScreens();
    MiScreen* const a = MiGetScreenAtIndex(0);
    std::uint32_t length = 0;
    ASSERT_NE(MiGetScreenProfile(a, nullptr, &length), 0);
    EXPECT_EQ(length, std::strlen("/icc/a.icc") + 1);
    char small[4] = {};
    std::uint32_t capacity = sizeof small;
    EXPECT_EQ(MiGetScreenProfile(a, small, &capacity), 0);
    EXPECT_EQ(capacity, length);
    std::string buffer(length, 'x');
    ASSERT_NE(MiGetScreenProfile(a, &buffer[0], &length), 0);
    EXPECT_STREQ(buffer.c_str(), "/icc/a.icc");

    length = 99;
    ASSERT_NE(MiGetScreenProfile(MiGetScreenAtIndex(1), nullptr, &length), 0);
    EXPECT_EQ(length, 0U) << "no profile";
}

TEST_F(Scrinfo2, WrittenProfilesAndRampsStayInTheWorldWithoutAScreenEvent) {
    std::uint64_t const screensBefore = sim::world().generations().screens;
    MiFindScreens();
    ASSERT_NE(MiSetScreenProfile(MiGetScreenAtIndex(0), "/icc/new.icc"), 0);
    double ramp[256];
    for (int i = 0; i < 256; ++i)
        ramp[i] = 0.5;
    ASSERT_NE(MiSetScreenGraphicsCardGamma(MiGetScreenAtIndex(0), &ramp, &ramp, &ramp), 0);
    EXPECT_EQ(MiSetScreenGraphicsCardGamma(MiGetScreenAtIndex(1), &ramp, &ramp, &ramp), 0)
        << "screen B has no gamma support";

    MiFindScreens();
    std::uint32_t length = 64;
    char path[64];
    ASSERT_NE(MiGetScreenProfile(MiGetScreenAtIndex(0), path, &length), 0);
    EXPECT_STREQ(path, "/icc/new.icc");
    double red[256], green[256], blue[256];
    ASSERT_NE(MiGetScreenGraphicsCardGamma(MiGetScreenAtIndex(0), &red, &green, &blue), 0);
    EXPECT_EQ(blue[255], 0.5);
    EXPECT_EQ(sim::world().generations().screens, screensBefore + 2);

    ASSERT_NE(MiSetScreenProfile(MiGetScreenAtIndex(0), nullptr), 0);
    length = 7;
    ASSERT_NE(MiGetScreenProfile(MiGetScreenAtIndex(0), nullptr, &length), 0);
    EXPECT_EQ(length, 0U) << "NULL unsets the profile";
}

std::atomic<int> g_lastResponseType{-1};
std::atomic<int> g_eventsSeen{0};

void recordNativeEvent(char const* name, char const* data, void*) {
    if (std::strcmp(name, "_native_xcb_generic_event_t") == 0 && data != nullptr) {
        g_lastResponseType = static_cast<unsigned char>(data[0]);
        ++g_eventsSeen;
    }
}

TEST_F(Scrinfo2, AScreenChangeShowsAfterTheNextFindAndArrivesAsARandREvent) {
    BridgeHelperAddEventCallback(recordNativeEvent, nullptr);
    MiFindScreens();
    EXPECT_EQ(MiGetX11ScreenEventBase(), 90);

    ASSERT_EQ(SimWorldModify("screens", "B", R"({"rotation":90,"bounds":{"width":1024}})"),
              nullptr);
    EXPECT_EQ(g_eventsSeen.load(), 1);
    EXPECT_EQ(g_lastResponseType.load(), MiGetX11ScreenEventBase()) << "RRScreenChangeNotify";
    EXPECT_EQ(MiGetScreenRotation(MiGetScreenAtIndex(1)), 0) << "not before the next find";

    MiFindScreens();
    EXPECT_EQ(MiGetScreenRotation(MiGetScreenAtIndex(1)), 90);
    EXPECT_EQ(MiGetScreenBounds(MiGetScreenAtIndex(1)).width, 1024);
    BridgeHelperRemoveEventCallback(recordNativeEvent, nullptr);
}

TEST_F(Scrinfo2, CountAndEventBaseAreSafeFromAnyThreadDuringFinds) {
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            std::uint32_t const count = MiGetScreenCount();
            EXPECT_TRUE(count == 0 || count == 2);
            EXPECT_EQ(MiGetX11ScreenEventBase(), 90);
        }
    });
    for (int i = 0; i < 500; ++i) {
        MiFindScreens();
        if (i % 3 == 0)
            MiReleaseScreens();
    }
    done = true;
    reader.join();
}

TEST_F(Scrinfo2, CallsMadeToFailAnswerTheirFailureValues) {
    SimWorldFailCalls("MiFindScreens", 1);
    MiFindScreens();
    EXPECT_EQ(MiGetScreenCount(), 0U) << "a failed search lists nothing";
    MiFindScreens();
    EXPECT_EQ(MiGetScreenCount(), 2U);

    SimWorldFailCalls("MiGetScreenProfile", 1);
    std::uint32_t length = 5;
    EXPECT_EQ(MiGetScreenProfile(MiGetScreenAtIndex(0), nullptr, &length), 0);
    EXPECT_EQ(length, 5U) << "untouched";
    SimWorldFailCalls("MiGetX11ScreenEventBase", SIM_WORLD_FAIL_ALWAYS);
    EXPECT_EQ(MiGetX11ScreenEventBase(), 0);
}

TEST_F(Scrinfo2, ChromaticityAndManufactureYearFollowTheEdid) {
    MiFindScreens();
    MiEdid* const edid = MiGetScreenEdid(MiGetScreenAtIndex(0));
    MiColor const red = MiGetEdidChromaticity(edid, 'R');
    EXPECT_EQ(red.x, 0.64);
    EXPECT_EQ(red.rgbR, 0.0);
    EXPECT_EQ(MiGetEdidChromaticity(edid, 'K').x, 0.3127);
    EXPECT_EQ(MiGetEdidChromaticity(edid, 'Q').x, 0.0);
    std::uint8_t model = 7;
    std::int32_t year = 7;
    std::int32_t week = 7;
    EXPECT_EQ(MiGetEdidManufactureYear(edid, &model, &year, &week), 0) << "no year in the EDID";
    EXPECT_EQ(year, 7);
}

// A list long enough that a handle found at the wrong position shows: every third screen has
// no EDID, so screen and EDID handles do not follow each other at a fixed step.
std::string longWorld(int screens) {
    std::string list;
    for (int i = 0; i < screens; ++i) {
        std::string const n = std::to_string(i);
        list += (i ? "," : "") + std::string(R"({"id":"S)") + n + R"(","bounds":{"x":)" +
                std::to_string(i * 100) + R"(,"y":0,"width":100,"height":50})";
        if (i % 3 != 2)
            list += R"(,"edid":{"productName":"P)" + n + R"(","serialNumber":"N)" + n + R"("})";
        list += "}";
    }
    return R"({"screens":[)" + list + "]}";
}

TEST_F(Scrinfo2, EveryHandleOfALongListNamesItsOwnScreenAndEdid) {
    int const screens = 40;
    ASSERT_EQ(SimWorldLoad(longWorld(screens).c_str()), nullptr);
    MiFindScreens();
    ASSERT_EQ(MiGetScreenCount(), static_cast<std::uint32_t>(screens));
    // Backwards, so that an answer that only holds for the first entries fails.
    for (int i = screens - 1; i >= 0; --i) {
        SCOPED_TRACE("screen " + std::to_string(i));
        MiScreen* const screen = MiGetScreenAtIndex(static_cast<std::uint32_t>(i));
        ASSERT_NE(screen, nullptr);
        EXPECT_EQ(MiGetScreenBounds(screen).x, i * 100);
        MiEdid* const edid = MiGetScreenEdid(screen);
        if (i % 3 == 2) {
            EXPECT_EQ(edid, nullptr);
            continue;
        }
        ASSERT_NE(edid, nullptr);
        EXPECT_EQ(std::string(MiGetEdidSerialNumber(edid)), "N" + std::to_string(i));
        EXPECT_EQ(std::string(MiGetEdidProductName(edid)), "P" + std::to_string(i));
    }
    EXPECT_EQ(MiGetScreenAtIndex(static_cast<std::uint32_t>(screens)), nullptr);
    EXPECT_EQ(SimScrinfoStaleHandleCount(), 0U);
}

TEST_F(Scrinfo2, AScreenHandleIsNoEdidHandleAndAnEdidHandleIsNoScreenHandle) {
    MiFindScreens();
    MiScreen* const screen = MiGetScreenAtIndex(0);
    MiEdid* const edid = MiGetScreenEdid(screen);
    ASSERT_NE(edid, nullptr);
    EXPECT_EQ(std::string(MiGetEdidSerialNumber(reinterpret_cast<MiEdid*>(screen))), "");
    EXPECT_EQ(MiGetScreenBounds(reinterpret_cast<MiScreen*>(edid)).width, 0);
    EXPECT_EQ(MiGetScreenEdid(reinterpret_cast<MiScreen*>(edid)), nullptr);
    EXPECT_EQ(SimScrinfoStaleHandleCount(), 3U);
    EXPECT_EQ(std::string(MiGetEdidSerialNumber(edid)), "12345678")
        << "the real handles still work";
    EXPECT_EQ(MiGetScreenBounds(screen).width, 1920);
}

TEST(Scrinfo2Files, RunTimeNameIsTheLoadedInstance) {
    std::string const dir = sim::host::standInDirectory();
    void* const runTime = dlopen((dir + "/libscrinfo2_x64.so").c_str(), RTLD_LAZY);
    ASSERT_NE(runTime, nullptr) << dlerror();
    EXPECT_EQ(dlsym(runTime, "MiFindScreens"), reinterpret_cast<void*>(&MiFindScreens));
    SimWorldReset();
    MiFindScreens();
    auto const pixelRatio =
        reinterpret_cast<decltype(&MiGetScreenPixelRatio)>(dlsym(runTime, "MiGetScreenPixelRatio"));
    ASSERT_NE(pixelRatio, nullptr);
    EXPECT_EQ(pixelRatio(MiGetScreenAtIndex(0)).x, 1.0);
    EXPECT_EQ(SimScrinfoStaleHandleCount(), 0U);
    dlclose(runTime);
}

TEST(Scrinfo2Files, ExportExactlyTheDeclaredFunctionsAndSimControls) {
    std::set<std::string> const declared =
        test::declaredFunctions(TOLMA_PLATFORM_DIR "/scrinfo2.h", "Mi");
    EXPECT_EQ(declared.size(), 34U);
    test::ElfDynamic const elf =
        test::readElfDynamic(sim::host::standInDirectory() + "/libscrinfo2_x64.so.2");
    ASSERT_TRUE(elf.ok) << elf.error;
    EXPECT_EQ(elf.soname, "libscrinfo2_x64.so.2");
    EXPECT_FALSE(elf.hasVersionDefinitions);
    std::set<std::string> libraryNames;
    for (std::string const& name : elf.defined) {
        if (name.compare(0, 3, "Sim") != 0)
            libraryNames.insert(name);
    }
    EXPECT_EQ(libraryNames, declared);

    test::ElfDynamic const variant = test::readElfDynamic(TOLMA_SCRINFO2_VARIANT);
    ASSERT_TRUE(variant.ok) << variant.error;
    EXPECT_EQ(variant.soname, "libscrinfo2_x64.so.2");
    EXPECT_EQ(variant.defined.count("MiGetScreenPixelRatio"), 0U);
    EXPECT_EQ(variant.defined.count("MiGetEdidManufactureYear"), 0U);
    EXPECT_EQ(variant.defined.count("MiGetScreenCount"), 1U);
}

} // namespace
