// The world's controls: plugging, screen changes with their RandR event, counters, failing calls.
#include "platform/pagebridge.h"
#include "sim/sim_control.h"
#include "sim/world/world.h"

#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::string error(char const* message) {
    return message != nullptr ? std::string(message) : std::string();
}

// Native events the page-bridge stand-in relays to a registered callback.
class NativeEvents {
public:
    NativeEvents() { BridgeHelperAddEventCallback(&NativeEvents::callback, this); }
    ~NativeEvents() { BridgeHelperRemoveEventCallback(&NativeEvents::callback, this); }
    NativeEvents(NativeEvents const&) = delete;
    NativeEvents& operator=(NativeEvents const&) = delete;

    std::vector<std::vector<unsigned char>> events() {
        std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }

private:
    static void callback(char const* name, char const* data, void* user) {
        auto* self = static_cast<NativeEvents*>(user);
        if (std::strcmp(name, "_native_xcb_generic_event_t") != 0 || data == nullptr)
            return;
        std::lock_guard<std::mutex> lock(self->mutex_);
        self->events_.emplace_back(data, data + 32);
    }

    std::mutex mutex_;
    std::vector<std::vector<unsigned char>> events_;
};

class WorldControls : public ::testing::Test {
protected:
    void SetUp() override { SimWorldReset(); }
    void TearDown() override { SimWorldReset(); }
};

TEST_F(WorldControls, UnpluggingAMonitorTakesItsBuiltInSensorAndTellsObserversOfTheUsbDevice) {
    std::vector<sim::Change> changes;
    sim::ObserverId const id =
        sim::world().addObserver([&](sim::Change const& c) { changes.push_back(c); });
    sim::Snapshot const before = sim::world().snapshot();

    EXPECT_EQ(error(SimWorldSetAttached("monitors", "23A04117", 0)), "");
    sim::Snapshot const after = sim::world().snapshot();
    EXPECT_EQ(after->attachedMonitors().size(), 0U);
    EXPECT_EQ(after->connectedSensors().size(), 1U);
    EXPECT_EQ(before->attachedMonitors().size(), 1U) << "a snapshot never changes";
    EXPECT_EQ(after->generations.monitors, before->generations.monitors + 1);
    EXPECT_EQ(after->generations.sensors, before->generations.sensors + 1);
    EXPECT_EQ(after->generations.lighting, before->generations.lighting);
    ASSERT_EQ(changes.size(), 1U);
    ASSERT_EQ(changes[0].left.size(), 1U);
    EXPECT_EQ(changes[0].left[0].vendorId, kavri::kOvakVendorId);
    EXPECT_EQ(changes[0].left[0].productId, 0x4012);
    EXPECT_TRUE(changes[0].arrived.empty());

    EXPECT_EQ(error(SimWorldSetAttached("monitors", "23A04117", 1)), "");
    ASSERT_EQ(changes.size(), 2U);
    ASSERT_EQ(changes[1].arrived.size(), 1U);
    EXPECT_EQ(changes[1].arrived[0].kind, sim::DeviceKind::Monitor);
    EXPECT_EQ(sim::world().snapshot()->connectedSensors().size(), 2U);

    EXPECT_EQ(error(SimWorldSetAttached("monitors", "23A04117", 1)), "");
    EXPECT_EQ(changes.size(), 2U) << "no change, no notification";
    sim::world().removeObserver(id);
}

TEST_F(WorldControls, RejectsUnknownItemsAndUnpluggableCollectionsWithoutChangingTheWorld) {
    std::uint64_t const generation = SimWorldGeneration();
    EXPECT_EQ(error(SimWorldSetAttached("monitors", "NOPE", 0)),
              "monitors: no entry with serial \"NOPE\"");
    EXPECT_EQ(error(SimWorldSetAttached("screens", "DP-1", 0)),
              "screens cannot be plugged or unplugged; add or remove them");
    EXPECT_EQ(error(SimWorldRemove("printers", "x")),
              "unknown collection \"printers\" (one of screens, monitors, sensors, "
              "serialSensors, lightingDevices)");
    EXPECT_EQ(error(SimWorldAdd("monitors", R"({"serial":"23A04117","product":"X"})")),
              "$.monitors[1].serial: \"23A04117\" is used twice");
    EXPECT_EQ(error(SimWorldLoad("{\"screens\":tru}")).rfind("the world is not valid JSON: ", 0),
              0U);
    EXPECT_EQ(SimWorldGeneration(), generation);
}

TEST_F(WorldControls, AddsModifiesAndRemovesItemsByTheirIds) {
    EXPECT_EQ(error(SimWorldAdd("serialSensors", R"({"deviceId":77})")), "");
    EXPECT_EQ(error(SimWorldModify("sensors", "2001", R"({"name":"Bench sensor"})")), "");
    EXPECT_EQ(error(SimWorldRemove("lightingDevices", "LB500042")), "");
    sim::Snapshot const w = sim::world().snapshot();
    ASSERT_NE(w->findSerialSensor(77), nullptr);
    EXPECT_EQ(w->findSerialSensor(77)->vendorId, 0x0403);
    EXPECT_EQ(w->findSensor(2001)->name, "Bench sensor");
    EXPECT_TRUE(w->lightingDevices.empty());
    EXPECT_EQ(error(SimWorldPatch(R"({"system":{"userName":null,"pc":{"name":"bench"}}})")), "");
    EXPECT_EQ(sim::world().snapshot()->system.userName, "");
    EXPECT_EQ(sim::world().snapshot()->system.pc.name, "bench");
    EXPECT_EQ(sim::world().snapshot()->system.pc.vendor, "Northwind Systems");
}

TEST_F(WorldControls, AScreenChangeDeliversOneRandRScreenChangeEventAtTheEventBase) {
    NativeEvents native;
    EXPECT_EQ(error(SimWorldPatch(R"({"display":{"randrEventBase":100}})")), "");
    EXPECT_EQ(error(SimWorldModify("screens", "DP-1", R"({"rotation":90})")), "");
    auto events = native.events();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0][0], 100);

    // Profiles and gamma ramps are not part of the configuration: no event.
    EXPECT_EQ(error(SimWorldModify("screens", "DP-1", R"({"profile":"/tmp/a.icc"})")), "");
    EXPECT_EQ(native.events().size(), 1U);

    EXPECT_EQ(
        error(SimWorldSetScreens(R"([{"id":"HDMI-1","bounds":{"width":1280,"height":720}}])")), "");
    events = native.events();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[1][0], 100);
    EXPECT_EQ(events[1][24] | (events[1][25] << 8), 1280) << "the desktop's width";

    EXPECT_EQ(SimWorldDeliverScreenEvent(1), 1U);
    EXPECT_EQ(native.events().back()[0], 101);

    EXPECT_EQ(error(SimWorldPatch(R"({"display":{"randrEventBase":0}})")), "");
    EXPECT_EQ(error(SimWorldRemove("screens", "HDMI-1")), "");
    EXPECT_EQ(native.events().size(), 3U) << "event base 0: no RandR events";
}

TEST_F(WorldControls, FailingCallsCountDownOrLastUntilCleared) {
    sim::World& w = sim::world();
    SimWorldFailCalls("MiGetScreenProfile", 2);
    EXPECT_EQ(SimWorldPendingFailures("MiGetScreenProfile"), 2);
    EXPECT_FALSE(w.shouldFail("MiSetScreenProfile"));
    EXPECT_TRUE(w.shouldFail("MiGetScreenProfile"));
    EXPECT_TRUE(w.shouldFail("MiGetScreenProfile"));
    EXPECT_FALSE(w.shouldFail("MiGetScreenProfile"));

    SimWorldFailCalls("OrmCreatePrinterSnapshot", SIM_WORLD_FAIL_ALWAYS);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(w.shouldFail("OrmCreatePrinterSnapshot"));
    SimWorldReset();
    EXPECT_FALSE(w.shouldFail("OrmCreatePrinterSnapshot"));
}

TEST_F(WorldControls, ReadersOnOtherThreadsSeeWholeWorldsWhileItChanges) {
    std::thread reader([] {
        for (int i = 0; i < 2000; ++i) {
            sim::Snapshot const w = sim::world().snapshot();
            std::size_t const attached = w->attachedMonitors().size();
            ASSERT_EQ(w->connectedSensors().size(), attached + 1);
        }
    });
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(error(SimWorldSetAttached("monitors", "23A04117", i % 2)), "");
    reader.join();
}

TEST_F(WorldControls, TextIsTheCurrentWorldAndLoadsBackUnchanged) {
    EXPECT_EQ(error(SimWorldSetAttached("sensors", "2001", 0)), "");
    std::string const text = SimWorldText(1);
    std::uint64_t const generation = SimWorldGeneration();
    EXPECT_EQ(error(SimWorldLoad(text.c_str())), "");
    EXPECT_EQ(SimWorldGeneration(), generation) << "the same world is no change";
    EXPECT_EQ(error(SimWorldLoadFile("/nonexistent/world.json")),
              "cannot read the world file \"/nonexistent/world.json\"");
}

} // namespace
