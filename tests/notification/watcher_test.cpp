// The screen-change watcher in-process: event names, response types, base, debounce, lifetime.
#include "notification/native_event_filter.h"
#include "sim/sim_control.h"
#include "wait_support.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using kavri::notification::NativeEventFilterLinux;
using kavri::notification::ScreenWatchActions;

constexpr std::uint64_t kTicksPerMs = 10000;
constexpr std::uint64_t ms(std::uint64_t n) {
    return n * kTicksPerMs;
}
constexpr char const* kNativeEvent = "_native_xcb_generic_event_t";
// Long enough that a started re-read is still waiting when the test looks at it.
constexpr std::chrono::microseconds kNever = std::chrono::hours(1);
constexpr std::chrono::microseconds kNow{0};

// Each test makes its own watchers over a clock it steps by hand; the world's event base is 89.
class WatcherTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimWorldReset();
        setEventBase(89);
        ASSERT_EQ(SimPageBridgeObserverCount(), 0u);
    }
    void TearDown() override { SimWorldReset(); }

    static void setEventBase(int base) {
        std::string const patch = R"({"display":{"randrEventBase":)" + std::to_string(base) + "}}";
        ASSERT_EQ(SimWorldPatch(patch.c_str()), nullptr);
    }

    std::unique_ptr<NativeEventFilterLinux> makeWatcher(std::chrono::microseconds delay,
                                                        std::function<void()> update = {},
                                                        bool enabled = true) {
        ScreenWatchActions actions;
        actions.now = [this] { return clock_.load(); };
        actions.delay = delay;
        actions.update = update ? std::move(update) : [this] { updates_.add(); };
        auto watcher = std::make_unique<NativeEventFilterLinux>(std::move(actions));
        watcher->setScreenNotificationEnabled(enabled);
        return watcher;
    }

    void advance(std::uint64_t ticks) { clock_ += ticks; }

    // One 32-byte XCB event through the host's delivery; returns the number of observers reached.
    static std::size_t deliver(unsigned responseType, char const* name = kNativeEvent) {
        unsigned char event[32] = {};
        event[0] = static_cast<unsigned char>(responseType);
        return SimPageBridgeDeliverNativeEvent(name, event, sizeof event);
    }

    std::atomic<std::uint64_t> clock_{ms(7000000)};
    test::Counter updates_;
};

TEST_F(WatcherTest, OnlyTheNativeXcbEventNameIsLookedAt) {
    auto watcher = makeWatcher(kNever);
    advance(ms(100));
    char const* const others[] = {"",
                                  "_native_xcb_generic_event",
                                  "_native_xcb_generic_event_t ",
                                  " _native_xcb_generic_event_t",
                                  "_NATIVE_XCB_GENERIC_EVENT_T",
                                  "native_xcb_generic_event_t",
                                  "screenChanged",
                                  nullptr};
    for (char const* name : others) {
        EXPECT_EQ(deliver(89, name), 1u);
        EXPECT_EQ(watcher->pendingUpdates(), 0u) << (name ? name : "(null)");
    }
    EXPECT_EQ(SimPageBridgeDeliverNativeEvent(kNativeEvent, nullptr, 0), 1u);
    EXPECT_EQ(watcher->pendingUpdates(), 0u) << "event without data";
    deliver(89);
    EXPECT_EQ(watcher->pendingUpdates(), 1u);
}

TEST_F(WatcherTest, OnlyTheEventBaseAndTheNextResponseTypeStartAReRead) {
    struct Row {
        int base;
        unsigned responseType;
        bool starts;
    } const rows[] = {
        {89, 89, true},         {89, 90, true},         {89, 88, false},          {89, 91, false},
        {89, 89 | 0x80, false}, {89, 90 | 0x80, false}, {89, 0, false},           {89, 0xFF, false},
        {254, 254, true},       {254, 255, true},       {254, 253, false},        {1, 1, true},
        {1, 2, true},           {1, 0x81, false},       {100, 100 | 0x80, false},
    };
    for (Row const& row : rows) {
        setEventBase(row.base);
        auto watcher = makeWatcher(kNever);
        advance(ms(100));
        deliver(row.responseType);
        EXPECT_EQ(watcher->pendingUpdates(), row.starts ? 1u : 0u)
            << "base " << row.base << ", response type " << row.responseType;
    }
}

TEST_F(WatcherTest, AnAcceptedEventRunsTheUpdateAfterTheDelay) {
    auto watcher = makeWatcher(std::chrono::milliseconds(1));
    advance(ms(100));
    deliver(89);
    ASSERT_TRUE(updates_.waitFor(1));
    advance(ms(100));
    deliver(90);
    ASSERT_TRUE(updates_.waitFor(2));
}

TEST_F(WatcherTest, EventBaseIsAskedForWhileZeroAndKeptOnceKnown) {
    setEventBase(0);
    auto watcher = makeWatcher(kNever);
    advance(ms(100));
    for (unsigned type : {0u, 1u, 89u}) {
        deliver(type);
        EXPECT_EQ(watcher->pendingUpdates(), 0u) << "unknown base, response type " << type;
    }
    setEventBase(89);
    deliver(89);
    EXPECT_EQ(watcher->pendingUpdates(), 1u) << "base known at the next event";

    setEventBase(0);
    advance(ms(100));
    deliver(89);
    EXPECT_EQ(watcher->pendingUpdates(), 2u) << "the known base is kept";

    setEventBase(120);
    advance(ms(100));
    deliver(120);
    EXPECT_EQ(watcher->pendingUpdates(), 2u) << "a non-zero base is not asked for again";
    deliver(90);
    EXPECT_EQ(watcher->pendingUpdates(), 3u);
}

TEST_F(WatcherTest, WhileDisabledEventsAreIgnoredButTheEventBaseIsFetched) {
    auto watcher = makeWatcher(kNever, {}, false);
    advance(ms(100));
    deliver(89);
    EXPECT_EQ(watcher->pendingUpdates(), 0u);

    // A watcher that never saw an event while the base was known stays blind to it.
    setEventBase(0);
    auto blind = makeWatcher(kNever);
    watcher->setScreenNotificationEnabled(true);
    advance(ms(100));
    EXPECT_EQ(deliver(89), 2u);
    EXPECT_EQ(watcher->pendingUpdates(), 1u);
    EXPECT_EQ(blind->pendingUpdates(), 0u);

    watcher->setScreenNotificationEnabled(false);
    advance(ms(100));
    deliver(89);
    EXPECT_EQ(watcher->pendingUpdates(), 1u) << "disabled again";
}

TEST_F(WatcherTest, EventsWithin50MsOfTheLastStartAreDropped) {
    struct Row {
        char const* what;
        std::vector<std::uint64_t> gaps; // clock steps before each event, the first from creation
        std::size_t starts;
    } const rows[] = {
        {"30 ms apart", {ms(100), ms(30)}, 1},
        {"60 ms apart", {ms(100), ms(60)}, 2},
        {"exactly 50 ms apart", {ms(100), ms(50)}, 1},
        {"50.9999 ms apart (whole milliseconds count)", {ms(100), ms(51) - 1}, 1},
        {"51 ms apart", {ms(100), ms(51)}, 2},
        {"measured from the last start, not the last event", {ms(100), ms(30), ms(30)}, 2},
        {"50 ms after creation", {ms(50)}, 0},
        {"at creation", {0}, 0},
        {"51 ms after creation", {ms(51)}, 1},
        {"a burst every 20 ms for 200 ms",
         {ms(100), ms(20), ms(20), ms(20), ms(20), ms(20), ms(20), ms(20), ms(20), ms(20), ms(20)},
         4},
    };
    for (Row const& row : rows) {
        auto watcher = makeWatcher(kNever);
        for (std::uint64_t gap : row.gaps) {
            advance(gap);
            deliver(89);
        }
        EXPECT_EQ(watcher->pendingUpdates(), row.starts) << row.what;
    }
}

TEST_F(WatcherTest, AThrowingUpdateLeavesTheProcessAndLaterEventsWorking) {
    auto watcher = makeWatcher(kNow, [this] {
        updates_.add();
        if (updates_.count() == 1)
            throw std::runtime_error("screens unreadable");
        throw 7;
    });
    advance(ms(100));
    deliver(89);
    ASSERT_TRUE(updates_.waitFor(1));
    advance(ms(100));
    deliver(89);
    ASSERT_TRUE(updates_.waitFor(2));
    advance(ms(100));
    deliver(90);
    ASSERT_TRUE(updates_.waitFor(3));
}

TEST_F(WatcherTest, ObserverCallbackForwardsToItsUserDataAndIgnoresNull) {
    auto watcher = makeWatcher(kNever);
    unsigned char event[32] = {89};
    auto const* data = reinterpret_cast<char const*>(event);

    // The host calls each pair as registered: the one with null user data does nothing.
    BridgeHelperAddEventCallback(BridgeHelperEventObserverCallback, nullptr);
    advance(ms(100));
    EXPECT_EQ(deliver(89), 2u);
    EXPECT_EQ(watcher->pendingUpdates(), 1u);
    BridgeHelperRemoveEventCallback(BridgeHelperEventObserverCallback, nullptr);
    EXPECT_EQ(SimPageBridgeObserverCount(), 1u);

    advance(ms(100));
    BridgeHelperEventObserverCallback(kNativeEvent, data, nullptr);
    EXPECT_EQ(watcher->pendingUpdates(), 1u);
    BridgeHelperEventObserverCallback(kNativeEvent, data,
                                      static_cast<BridgeHelperEventObserver*>(watcher.get()));
    EXPECT_EQ(watcher->pendingUpdates(), 2u);
}

TEST_F(WatcherTest, DestroyingTheWatcherUnregistersItAndDropsWaitingUpdates) {
    auto watcher = makeWatcher(kNever, {}, false);
    EXPECT_EQ(SimPageBridgeObserverCount(), 1u) << "registered while disabled";
    watcher->setScreenNotificationEnabled(true);
    advance(ms(100));
    deliver(89);
    advance(ms(100));
    deliver(90);
    ASSERT_EQ(watcher->pendingUpdates(), 2u);

    watcher.reset();
    EXPECT_EQ(SimPageBridgeObserverCount(), 0u);
    EXPECT_EQ(deliver(89), 0u);
    // The destructor joined every re-read thread, so this count is final.
    EXPECT_EQ(updates_.count(), 0);
}

} // namespace
