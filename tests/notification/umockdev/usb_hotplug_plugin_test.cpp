// The plug-in's hot-plug watcher on the real libusb, triggered by simulated USB devices.
//
// The plug-in's device lists come from the simulated world; what makes it look again is the real
// libusb's hot-plug callback. So each case changes the world and plugs (or unplugs) a simulated
// USB device of the same kind, then waits for the event the page would get.
#include "platform/dispctl.h"
#include "platform/vqc.h"
#include "device_worlds.h"
#include "plugin_test.h"
#include "sim/devices/devices_testing.h"
#include "sim/sim_control.h"
#include "usb_testbed.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A monitor's arrival is looked at after a second of settling, the others after up to 0.6 s.
constexpr auto kDeadline = 10s;
// How long nothing must happen to show that nothing will: longer than the slowest path (1 s of
// settling, then 0.6 s).
constexpr auto kQuietPeriod = 2s;
// TearDown takes a poll interval or a running update; a host that waits this long is stuck.
constexpr auto kTearDownDeadline = 5s;

long long millisecondsSince(Clock::time_point from) {
    return static_cast<long long>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - from).count());
}

// ---- the testbed, one for the whole program ----------------------------------------------------

// It comes before the plug-in first opens libusb and goes after every suite has closed the
// plug-in (and so libusb's last context).
class TestbedEnvironment : public ::testing::Environment {
public:
    void SetUp() override { testbed = std::make_unique<test::UsbTestbed>(); }
    void TearDown() override { testbed.reset(); }

    static std::unique_ptr<test::UsbTestbed> testbed;
};

std::unique_ptr<test::UsbTestbed> TestbedEnvironment::testbed;

::testing::Environment* const testbedEnvironment =
    ::testing::AddGlobalTestEnvironment(new TestbedEnvironment);

test::UsbTestbed& testbed() {
    return *TestbedEnvironment::testbed;
}

// ---- the device kinds --------------------------------------------------------------------------

struct Kind {
    char const* what;
    char const* collection; // of the world
    char const* id;         // of the item in it
    char const* item;       // the item, detached
    std::uint16_t vendorId;
    std::uint16_t productId;
    char const* event;
    char const* added; // the event's payload on arrival
    char const* removed;
    char const* logName; // what follows "Add " and "Remove " in the event's log line
    // The plug-in's stand-in and its search that runs once more after the event of an arrival,
    // or "" when nothing does.
    char const* standIn;
    char const* search;
};

void PrintTo(Kind const& kind, std::ostream* out) {
    *out << kind.what;
}

std::vector<Kind> const& kinds() {
    static std::vector<Kind> const rows = {
        {"monitor", "monitors", "M0000001",
         R"({"serial":"M0000001","product":"OVK-T24","attached":false})", 0x29AB, 0x4001,
         "monitorChanged", R"({"added":[{"product":"OVK-T24","serial":"M0000001"}],"removed":[]})",
         R"({"added":[],"removed":[{"product":"OVK-T24","serial":"M0000001"}]})",
         "OVK-T24(M0000001)", "Vqc", "VqCtrlFind"},
        {"sensor", "sensors", "7", R"({"deviceId":7,"individualId":70007,"attached":false})",
         0x29AB, 0x8000, "sensorChanged",
         R"({"added":[{"deviceID":7,"individualID":"0000000000011177"}],"removed":[]})",
         R"({"added":[],"removed":[{"deviceID":7,"individualID":"0000000000011177"}]})", "7", "",
         ""},
        // Any product of the adapters' maker; the update runs 0.3 s after the event.
        {"serial sensor", "serialSensors", "3", R"({"deviceId":3,"attached":false})", 0x0403,
         0x6001, "serialSensorChanged",
         R"({"added":[{"deviceID":3,"individualID":"0000000000000000"}],"removed":[]})",
         R"({"added":[],"removed":[{"deviceID":3,"individualID":"0000000000000000"}]})", "3", "",
         ""},
        {"lighting device", "lightingDevices", "LB1",
         R"({"product":"OVK-LB50","serial":"LB1","attached":false})", 0x29AB, 0x8100,
         "lightingEquipmentChanged",
         R"({"added":[{"product":"OVK-LB50","serial":"LB1"}],"removed":[]})",
         R"({"added":[],"removed":[{"product":"OVK-LB50","serial":"LB1"}]})", "OVK-LB50(LB1)", "",
         ""},
    };
    return rows;
}

Kind const& kindNamed(std::string const& what) {
    for (Kind const& kind : kinds())
        if (kind.what == what)
            return kind;
    throw std::logic_error("no kind " + what);
}

// A world of these kinds' items (as detached as the table has them).
std::string worldOf(std::vector<Kind> const& items) {
    std::string world = R"({"display":{"randrEventBase":0})";
    for (Kind const& kind : items)
        world += std::string(",\"") + kind.collection + "\":[" + kind.item + "]";
    return world + "}";
}

// ---- waiting and reading back ------------------------------------------------------------------

std::string eventLine(Kind const& kind, char const* change) {
    return std::string("3 event:") + kind.event + "\tmsg:" + change + " " + kind.logName;
}

// ---- the fixture -------------------------------------------------------------------------------

// The plug-in once per suite, and the page's DELETE after each case. A case runs only where this
// process sees the testbed.
class UsbHotplugTest : public test::PluginTest {
protected:
    void SetUp() override {
        if (!testbed().active())
            GTEST_SKIP() << "the USB simulator is not active in this process (run it with "
                            "LD_PRELOAD=libumockdev-preload.so.0)";
    }
    void TearDown() override {
        if (testbed().active()) {
            std::vector<std::string> lines;
            EXPECT_EQ(
                callLoggingEvents("DeviceNotification", "delete", "{}", "{}", "{}", &lines).status,
                200);
        }
    }

    // The page's PUT: switches the watcher on and answers the changes since the lists before.
    // Whether a case is the process's first registration, for those that need it.
    static test::Answer put(std::vector<std::string>* eventLines = nullptr) {
        registeredBefore() = true;
        std::vector<std::string> lines;
        return callLoggingEvents("DeviceNotification", "put", "{}", "{}", "{}",
                                 eventLines != nullptr ? eventLines : &lines);
    }
    static bool& registeredBefore() {
        static bool registered = false;
        return registered;
    }

    // "<level> <line>" for each line the plug-in logged from index `from` on.
    static std::vector<std::string> logLinesFrom(std::size_t from) {
        std::vector<std::string> lines;
        for (sim::LogLine const& line : logging().lines(from))
            lines.push_back(std::to_string(line.level) + " " + line.line);
        return lines;
    }
};

// ---- plugging in and out, each kind ------------------------------------------------------------

class UsbHotplugThroughThePlugin : public UsbHotplugTest,
                                   public ::testing::WithParamInterface<Kind> {};

TEST_P(UsbHotplugThroughThePlugin, PluggingInAndOutReachesThePageAsAnEvent) {
    Kind const kind = GetParam();
    ASSERT_EQ(SimWorldLoad(worldOf({kind}).c_str()), nullptr);
    // Takes in the lists as they are (whatever changed since the world before).
    test::Answer const on = put();
    ASSERT_EQ(on.status, 200) << on;

    // The plug-in opened the real libusb: the fake one is not on the library path and lacks
    // libusb_get_version.
    void* const libusb = dlopen("libusb-1.0.so.0", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(libusb, nullptr) << "the plug-in has not opened libusb";
    EXPECT_NE(dlsym(libusb, "libusb_get_version"), nullptr) << "not the real libusb";
    dlclose(libusb);

    // Plugged in: the world first, so the plug-in finds the device when the callback makes it
    // look.
    std::size_t const before = sim::host::events().size();
    std::size_t const linesBefore = logging().count();
    ASSERT_EQ(SimWorldSetAttached(kind.collection, kind.id, 1), nullptr);
    std::unique_ptr<sim::DeviceStandIn> const standIn =
        std::string(kind.standIn) == "Vqc"
            ? std::make_unique<sim::DeviceStandIn>(sim::vqcPath(), kind.standIn)
            : nullptr;
    std::uint64_t const searches = standIn ? standIn->callCount(kind.search) : 0;
    auto const device = testbed().add(kind.vendorId, kind.productId);
    auto const plugged = Clock::now();
    std::vector<sim::Event> const arrived = devicetest::waitForEvents(kind.event, before, kDeadline);
    ASSERT_EQ(arrived.size(), 1u) << "no " << kind.event << " within the deadline";
    EXPECT_EQ(arrived[0].json, kind.added);
    EXPECT_EQ(logLinesFrom(linesBefore), std::vector<std::string>{eventLine(kind, "Add")});
    std::printf("%s arrived after %lld ms\n", kind.what, millisecondsSince(plugged));

    // After a monitor's arrival the plug-in searches twice: after the settling, and in the delayed
    // task. Were the second still due, it would find the unplugging by itself, without the
    // callback; so it goes first (waited for at most 3 s).
    if (standIn && standIn->loaded()) {
        test::waitUntil([&] { return standIn->callCount(kind.search) >= searches + 2; }, 3s);
    }

    // Unplugged.
    std::size_t const between = sim::host::events().size();
    std::size_t const linesBetween = logging().count();
    ASSERT_EQ(SimWorldSetAttached(kind.collection, kind.id, 0), nullptr);
    testbed().remove(device);
    auto const unplugged = Clock::now();
    std::vector<sim::Event> const left = devicetest::waitForEvents(kind.event, between, kDeadline);
    ASSERT_EQ(left.size(), 1u) << "no " << kind.event << " within the deadline";
    EXPECT_EQ(left[0].json, kind.removed);
    EXPECT_EQ(logLinesFrom(linesBetween), std::vector<std::string>{eventLine(kind, "Remove")});
    std::printf("%s left after %lld ms\n", kind.what, millisecondsSince(unplugged));
}

INSTANTIATE_TEST_SUITE_P(EachKind, UsbHotplugThroughThePlugin, ::testing::ValuesIn(kinds()),
                         [](::testing::TestParamInfo<Kind> const& param) {
                             std::string name = param.param.what;
                             for (char& c : name)
                                 c = c == ' ' ? '_' : c;
                             return name;
                         });

// ---- devices already plugged in at registration ------------------------------------------------

// The three searches an update of a device list makes: the monitors', the USB sensors' and the
// lighting devices'.
struct Search {
    std::string (*path)();
    char const* standIn;
    char const* function;
};

std::vector<Search> const& searches() {
    static std::vector<Search> const rows = {
        {sim::vqcPath, "Vqc", "VqCtrlFind"},
        {sim::meterLinkPath, "MeterLink", "MDEnumConnectedDevices"},
        {sim::dispctlPath, "Dispctl", "VqUpdateEx"},
    };
    return rows;
}

std::size_t searchNamed(std::string const& function) {
    for (std::size_t i = 0; i < searches().size(); ++i)
        if (searches()[i].function == function)
            return i;
    throw std::logic_error("no search " + function);
}

struct Present {
    char const* what;
    char const* kind;       // of kinds(), or "" for a device of no interest
    std::uint16_t vendorId; // the device plugged in before registration
    std::uint16_t productId;
    char const* answer;   // PUT's value
    bool loggedDuringPut; // the device's "Add" line, by that update or by PUT's own
    char const* search;   // of searches() that runs again after PUT has answered, or ""
};

void PrintTo(Present const& row, std::ostream* out) {
    *out << row.what;
}

// What each manager compared at its first look: the monitors with the monitor-control library's
// last search (before the device came, see below), the USB sensors with their own list, made in
// the PUT, after the device came; the lighting devices with the run-time library's last search
// (before). The updates that the registration's enumeration starts (a monitor's on the watcher
// after its settling second, the tasks) all run after PUT answers.
std::vector<Present> const& presentRows() {
    static std::vector<Present> const rows = {
        {"monitor", "monitor", 0x29AB, 0x4001,
         R"({"lightingEquipments":{"added":[],"removed":[]},)"
         R"("monitors":{"added":[{"product":"OVK-T24","serial":"M0000001"}],"removed":[]},)"
         R"("sensors":{"added":[],"removed":[]},"supports":true})",
         true, "VqCtrlFind"},
        {"sensor", "sensor", 0x29AB, 0x8000,
         R"({"lightingEquipments":{"added":[],"removed":[]},"monitors":{"added":[],"removed":[]},)"
         R"("sensors":{"added":[],"removed":[]},"supports":true})",
         false, "MDEnumConnectedDevices"},
        {"lighting_device", "lighting device", 0x29AB, 0x8100,
         R"({"lightingEquipments":{"added":[{"product":"OVK-LB50","serial":"LB1"}],"removed":[]},)"
         R"("monitors":{"added":[],"removed":[]},"sensors":{"added":[],"removed":[]},)"
         R"("supports":true})",
         true, "VqUpdateEx"},
        // Another maker's device: enumerated as well, and nothing is updated for it.
        {"keyboard", "", 0x046D, 0xC31C,
         R"({"lightingEquipments":{"added":[],"removed":[]},"monitors":{"added":[],"removed":[]},)"
         R"("sensors":{"added":[],"removed":[]},"supports":true})",
         false, ""},
    };
    return rows;
}

class PresentAtRegistration : public UsbHotplugTest,
                              public ::testing::WithParamInterface<Present> {};

TEST_P(PresentAtRegistration, ADevicePluggedInBeforeThePutIsUpdatedAfterIt) {
    if (registeredBefore())
        GTEST_SKIP() << "needs the process's first registration (run each case on its own)";
    Present const row = GetParam();
    std::vector<Kind> items;
    if (*row.kind != '\0')
        items.push_back(kindNamed(row.kind));

    // The libraries that keep a search's result look at the world without the device (the
    // monitor-control library searched the default world when the plug-in was opened).
    ASSERT_EQ(SimWorldLoad(worldOf(items).c_str()), nullptr);
    std::vector<std::unique_ptr<sim::DeviceStandIn>> standIns;
    for (Search const& search : searches()) {
        standIns.push_back(std::make_unique<sim::DeviceStandIn>(search.path(), search.standIn));
        ASSERT_TRUE(standIns.back()->loaded()) << search.standIn;
    }
    auto const find = standIns[0]->function<decltype(&VqCtrlFind)>("VqCtrlFind");
    auto const updateEx = standIns[2]->function<decltype(&VqUpdateEx)>("VqUpdateEx");
    ASSERT_NE(find, nullptr);
    ASSERT_NE(updateEx, nullptr);
    ASSERT_EQ(find(0, 0), 0);
    ASSERT_EQ(updateEx(VQ_KIND_LIGHTING), 0);

    // Then the device comes, into the world and onto the bus, before the watcher is switched on.
    for (Kind const& kind : items)
        ASSERT_EQ(SimWorldSetAttached(kind.collection, kind.id, 1), nullptr);
    auto const device = testbed().add(row.vendorId, row.productId);

    std::vector<std::string> eventLines;
    auto const asked = Clock::now();
    test::Answer const on = put(&eventLines);
    auto const answered = Clock::now();
    std::printf("PUT answered after %lld ms\n", millisecondsSince(asked));
    std::vector<std::uint64_t> counts;
    for (Search const& search : searches())
        counts.push_back(standIns[counts.size()]->callCount(search.function));
    EXPECT_EQ(on, test::ok("PUT", "DeviceNotification", row.answer));

    // libusb reports the attached devices inside the registration, but the watcher handles them
    // afterwards: the PUT's own updates find the devices, and nothing is pushed before the answer.
    std::vector<sim::Event> const duringPut = sim::host::events();
    EXPECT_TRUE(duringPut.empty()) << duringPut[0].name << " " << duringPut[0].json;
    EXPECT_EQ(eventLines, row.loggedDuringPut
                              ? std::vector<std::string>{eventLine(kindNamed(row.kind), "Add")}
                              : std::vector<std::string>{});

    // The device's own update, started by the enumeration, looks again after the answer.
    if (*row.search != '\0') {
        std::size_t const which = searchNamed(row.search);
        test::waitUntil([&] { return standIns[which]->callCount(row.search) != counts[which]; },
                        kDeadline);
        EXPECT_GT(standIns[which]->callCount(row.search), counts[which])
            << "no " << row.search << " after the answer within the deadline";
        std::printf("%s searched again %lld ms after the answer\n", row.what,
                    millisecondsSince(answered));
    }
    // The other searches do not run, and the update finds nothing new.
    std::this_thread::sleep_for(kQuietPeriod);
    for (std::size_t i = 0; i < searches().size(); ++i) {
        if (row.search != std::string(searches()[i].function)) {
            EXPECT_EQ(standIns[i]->callCount(searches()[i].function), counts[i])
                << searches()[i].function;
        }
    }
    std::vector<sim::Event> const later = sim::host::events(duringPut.size());
    EXPECT_TRUE(later.empty()) << later[0].name << " " << later[0].json;

    testbed().remove(device);
}

INSTANTIATE_TEST_SUITE_P(EachDevice, PresentAtRegistration, ::testing::ValuesIn(presentRows()),
                         [](::testing::TestParamInfo<Present> const& param) {
                             return std::string(param.param.what);
                         });

// ---- TearDown while devices come and go --------------------------------------------------------

// Until stopped, takes the kinds by turns: flips the kind's item in the world (plugged in, next
// time out) and plugs a device of that kind into the bus and out again, so that the updates the
// two events start find a change. A round leaves the bus empty; the world is as the flips left it.
class Churn {
public:
    explicit Churn(std::vector<Kind> kinds)
        : kinds_(std::move(kinds)), thread_([this] { run(); }) {}
    ~Churn() { stop(); }
    Churn(Churn const&) = delete;
    Churn& operator=(Churn const&) = delete;

    void stop() {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
    }
    int rounds() const { return rounds_; }
    // The first control or testbed failure, "" when there was none.
    std::string error() const {
        std::lock_guard<std::mutex> const held(mutex_);
        return error_;
    }

private:
    void run() {
        std::vector<int> attached(kinds_.size(), 0);
        for (std::size_t i = 0; !stop_; ++i) {
            std::size_t const which = i % kinds_.size();
            Kind const& kind = kinds_[which];
            attached[which] = 1 - attached[which];
            try {
                check(SimWorldSetAttached(kind.collection, kind.id, attached[which]));
                auto const device = testbed().add(kind.vendorId, kind.productId);
                std::this_thread::sleep_for(20ms);
                testbed().remove(device);
            } catch (std::exception const& error) {
                fail(error.what());
                return;
            }
            std::this_thread::sleep_for(20ms);
            ++rounds_;
        }
    }
    void check(char const* error) {
        if (error != nullptr)
            throw std::runtime_error(error);
    }
    void fail(std::string const& error) {
        std::lock_guard<std::mutex> const held(mutex_);
        if (error_.empty())
            error_ = error;
    }

    std::vector<Kind> const kinds_;
    std::atomic<bool> stop_{false};
    std::atomic<int> rounds_{0};
    mutable std::mutex mutex_;
    std::string error_;
    std::thread thread_; // last: starts when the rest is ready
};

class TearDownWhileDevicesChange : public UsbHotplugTest {
protected:
    // The plug-in's TearDown on a thread of its own, waited for with a deadline; a TearDown that
    // does not return ends the process (its threads are stuck in the plug-in, so nothing after
    // it could run safely).
    static void tearDownWithin(char const* when) {
        std::promise<bool> result;
        std::future<bool> done = result.get_future();
        auto const started = Clock::now();
        std::thread tearing([&result] { result.set_value(plugin().tearDown()); });
        if (done.wait_for(kTearDownDeadline) != std::future_status::ready) {
            ADD_FAILURE() << "TearDown " << when << " has not returned after "
                          << millisecondsSince(started) << " ms";
            std::fflush(nullptr);
            std::_Exit(EXIT_FAILURE);
        }
        tearing.join();
        EXPECT_TRUE(done.get()) << "no TearDown export";
        std::printf("TearDown %s returned after %lld ms\n", when, millisecondsSince(started));
    }

    // Expects exactly one `event` with `payload` after `change`.
    static void expectEvent(std::function<void()> const& change, Kind const& kind,
                            char const* payload) {
        std::size_t const before = sim::host::events().size();
        change();
        std::vector<sim::Event> const events = devicetest::waitForEvents(kind.event, before, kDeadline);
        ASSERT_EQ(events.size(), 1u) << "no " << kind.event << " within the deadline";
        EXPECT_EQ(events[0].json, payload);
    }
};

TEST_F(TearDownWhileDevicesChange, TearDownReturnsAndNoEventFollowsThenThePutRegistersAgain) {
    ASSERT_EQ(SimWorldLoad(worldOf(kinds()).c_str()), nullptr);
    test::Answer const on = put();
    ASSERT_EQ(on.status, 200) << on;

    // The kinds whose updates wait in tasks come and go all the time: some of those tasks are
    // due when TearDown comes.
    Kind const& monitor = kindNamed("monitor");
    std::vector<Kind> churned;
    for (Kind const& kind : kinds())
        if (std::string(kind.what) != monitor.what)
            churned.push_back(kind);
    Churn churn(churned);
    test::waitUntil([] { return sim::host::events().size() >= 3; }, kDeadline);
    ASSERT_GE(sim::host::events().size(), 3u) << "no events while devices came and went";
    // And a monitor arrives, whose settling the watcher waits for on its own thread: a few polls
    // later TearDown comes.
    ASSERT_EQ(SimWorldSetAttached(monitor.collection, monitor.id, 1), nullptr);
    test::SimulatedUsbDevice const monitorDevice =
        testbed().add(monitor.vendorId, monitor.productId);
    std::this_thread::sleep_for(200ms);

    int const roundsBefore = churn.rounds();
    std::size_t const eventsBefore = sim::host::events().size();
    tearDownWithin("while devices come and go");
    std::size_t const events = sim::host::events().size();
    std::size_t const lines = logging().count();
    int const roundsAtTearDown = churn.rounds();
    std::printf("%d rounds of plugging and %zu events before TearDown, %d and %zu when it "
                "returned\n",
                roundsBefore, eventsBefore, roundsAtTearDown, events);

    // Devices keep coming and going for a while; nothing reaches the page or the log any more.
    std::this_thread::sleep_for(1s);
    EXPECT_GT(churn.rounds(), roundsAtTearDown) << "the devices stopped changing";
    std::vector<sim::Event> const after = sim::host::events(events);
    EXPECT_TRUE(after.empty()) << after.size() << " events after TearDown, the first "
                               << after[0].name << " " << after[0].json;
    EXPECT_EQ(logLinesFrom(lines), std::vector<std::string>{});
    churn.stop();
    EXPECT_EQ(churn.error(), "");
    testbed().remove(monitorDevice);
    for (Kind const& kind : kinds())
        ASSERT_EQ(SimWorldSetAttached(kind.collection, kind.id, 0), nullptr);

    // The page switches the watcher on again: devices reach it as before.
    test::Answer const again = put();
    ASSERT_EQ(again.status, 200) << again;
    Kind const& sensor = kindNamed("sensor");
    test::SimulatedUsbDevice device;
    expectEvent(
        [&] {
            ASSERT_EQ(SimWorldSetAttached(sensor.collection, sensor.id, 1), nullptr);
            device = testbed().add(sensor.vendorId, sensor.productId);
        },
        sensor, sensor.added);
    expectEvent(
        [&] {
            ASSERT_EQ(SimWorldSetAttached(sensor.collection, sensor.id, 0), nullptr);
            testbed().remove(device);
        },
        sensor, sensor.removed);

    // A second TearDown stops it again.
    tearDownWithin("after registering again");
    std::size_t const settled = sim::host::events().size();
    ASSERT_EQ(SimWorldSetAttached(sensor.collection, sensor.id, 1), nullptr);
    device = testbed().add(sensor.vendorId, sensor.productId);
    std::this_thread::sleep_for(kQuietPeriod);
    std::vector<sim::Event> const afterSecond = sim::host::events(settled);
    EXPECT_TRUE(afterSecond.empty()) << afterSecond[0].name << " " << afterSecond[0].json;
    testbed().remove(device);
}

} // namespace
