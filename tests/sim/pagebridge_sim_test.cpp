// The page-bridge stand-in: promise ids, recorded answers and events, listener, callback registry.
#include "platform/pagebridge.h"
#include "sim/host/recorded.h"
#include "sim/sim_control.h"

#include <atomic>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

class PageBridgeTest : public ::testing::Test {
protected:
    void SetUp() override {
        SimPageBridgeReset();
        SimPageBridgeSetListener(nullptr, nullptr);
        observersBefore_ = SimPageBridgeObserverCount();
    }
    // Every test removes the callbacks it registers.
    void TearDown() override { EXPECT_EQ(SimPageBridgeObserverCount(), observersBefore_); }

private:
    std::size_t observersBefore_ = 0;
};

using PromiseIds = PageBridgeTest;
using Responses = PageBridgeTest;
using Events = PageBridgeTest;
using Listener = PageBridgeTest;
using EventCallbacks = PageBridgeTest;

// What a callback saw; userData of the callbacks below points at one of these.
struct Seen {
    std::atomic<int> calls{0};
    std::mutex mutex;
    std::vector<std::string> names;
    std::vector<unsigned char> firstBytes; // the 32 bytes every native event must have
    bool dataWasNull = false;
};

void record(char const* name, char const* data, void* userData) {
    auto* seen = static_cast<Seen*>(userData);
    std::lock_guard<std::mutex> lock(seen->mutex);
    seen->names.emplace_back(name != nullptr ? name : "(null)");
    seen->dataWasNull = data == nullptr;
    if (data != nullptr)
        seen->firstBytes.assign(data, data + 32);
    ++seen->calls;
}

void count(char const*, char const*, void* userData) {
    ++static_cast<Seen*>(userData)->calls;
}

// ---- promise ids ---------------------------------------------------------------------------

TEST_F(PromiseIds, CountUpFromOne) {
    EXPECT_EQ(BridgeHelperCreatePromiseID(), 1);
    EXPECT_EQ(BridgeHelperCreatePromiseID(), 2);
    EXPECT_EQ(BridgeHelperCreatePromiseID(), 3);
}

TEST_F(PromiseIds, StartAtOneAgainAfterReset) {
    BridgeHelperCreatePromiseID();
    BridgeHelperCreatePromiseID();
    SimPageBridgeReset();
    EXPECT_EQ(BridgeHelperCreatePromiseID(), 1);
}

TEST_F(PromiseIds, CanBeSteeredToAnyValueAndWrapAtTheTop) {
    SimPageBridgeSetNextPromiseID(-5);
    EXPECT_EQ(BridgeHelperCreatePromiseID(), -5);
    SimPageBridgeSetNextPromiseID(INT32_MAX);
    EXPECT_EQ(BridgeHelperCreatePromiseID(), INT32_MAX);
    EXPECT_EQ(BridgeHelperCreatePromiseID(), INT32_MIN);
}

TEST_F(PromiseIds, AreNeverSharedBetweenConcurrentCallers) {
    constexpr int kThreads = 8;
    constexpr int kEach = 500;
    std::vector<std::vector<std::int32_t>> ids(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&ids, t] {
            for (int i = 0; i < kEach; ++i)
                ids[static_cast<std::size_t>(t)].push_back(BridgeHelperCreatePromiseID());
        });
    }
    for (auto& thread : threads)
        thread.join();
    std::set<std::int32_t> distinct;
    for (auto const& list : ids)
        distinct.insert(list.begin(), list.end());
    EXPECT_EQ(distinct.size(), static_cast<std::size_t>(kThreads * kEach));
}

// ---- answers -------------------------------------------------------------------------------

TEST_F(Responses, AreRecordedInCallOrderWithTheirOwnCopyOfTheText) {
    std::int32_t const first = BridgeHelperCreatePromiseID();
    std::int32_t const second = BridgeHelperCreatePromiseID();
    std::string text = R"({"error":null,"value":[1]})";
    BridgeHelperSetResponse(second, 200, text.c_str());
    text.assign(text.size(), 'x');
    BridgeHelperSetResponse(first, 404, "{}");

    EXPECT_EQ(SimPageBridgeResponseCount(), 2U);
    std::vector<sim::Response> const expected = {{second, 200, R"({"error":null,"value":[1]})"},
                                                 {first, 404, "{}"}};
    EXPECT_EQ(sim::host::responses(), expected);
    EXPECT_EQ(SimPageBridgeViolationCount(), 0U);
}

TEST_F(Responses, IndexPastTheEndLeavesTheOutputsAlone) {
    std::int32_t promise = 77;
    std::int32_t status = 88;
    char const* json = "untouched";
    EXPECT_EQ(SimPageBridgeResponseAt(0, &promise, &status, &json), -1);
    EXPECT_EQ(promise, 77);
    EXPECT_EQ(status, 88);
    EXPECT_STREQ(json, "untouched");
}

TEST_F(Responses, AnswerForAnIdNeverHandedOutIsAViolation) {
    ::testing::internal::CaptureStderr();
    BridgeHelperSetResponse(999, 200, "{}");
    std::string const report = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(SimPageBridgeViolationCount(), 1U);
    EXPECT_NE(report.find("promise id 999"), std::string::npos) << report;
    EXPECT_EQ(SimPageBridgeResponseCount(), 1U);
}

TEST_F(Responses, SecondAnswerForOneIdIsAViolation) {
    std::int32_t const id = BridgeHelperCreatePromiseID();
    BridgeHelperSetResponse(id, 200, "{}");
    EXPECT_EQ(SimPageBridgeViolationCount(), 0U);
    ::testing::internal::CaptureStderr();
    BridgeHelperSetResponse(id, 500, "{}");
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(SimPageBridgeViolationCount(), 1U);
}

TEST_F(Responses, NullTextIsAViolationRecordedAsEmpty) {
    std::int32_t const id = BridgeHelperCreatePromiseID();
    ::testing::internal::CaptureStderr();
    BridgeHelperSetResponse(id, 200, nullptr);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(SimPageBridgeViolationCount(), 1U);
    EXPECT_EQ(sim::host::responses(), std::vector<sim::Response>({{id, 200, ""}}));
}

TEST_F(Responses, WaitReturnsOnceAnAnswerArrivesFromAnotherThread) {
    std::thread answerer([] {
        std::this_thread::sleep_for(20ms);
        BridgeHelperSetResponse(BridgeHelperCreatePromiseID(), 200, "{}");
    });
    EXPECT_EQ(SimPageBridgeWaitForResponses(1, 5000), 1);
    answerer.join();
}

TEST_F(Responses, WaitTimesOutWhenTooFewArrive) {
    BridgeHelperSetResponse(BridgeHelperCreatePromiseID(), 200, "{}");
    EXPECT_EQ(SimPageBridgeWaitForResponses(1, 0), 1);
    EXPECT_EQ(SimPageBridgeWaitForResponses(2, 10), 0);
}

TEST_F(Responses, FromManyThreadsAreAllKept) {
    constexpr int kThreads = 6;
    constexpr int kEach = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < kEach; ++i)
                BridgeHelperSetResponse(BridgeHelperCreatePromiseID(), 200, "{}");
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(SimPageBridgeResponseCount(), static_cast<std::size_t>(kThreads * kEach));
    EXPECT_EQ(SimPageBridgeViolationCount(), 0U);
}

// ---- events --------------------------------------------------------------------------------

TEST_F(Events, AreRecordedInCallOrderWithCopiedNameAndPayload) {
    std::string name = "monitorChanged";
    std::string payload = R"({"added":[],"removed":[]})";
    BridgeHelperDispatchEvent(name.c_str(), payload.c_str());
    name = "overwritten";
    payload = "overwritten";
    BridgeHelperDispatchEvent("screenChanged", "[]");

    std::vector<sim::Event> const expected = {{"monitorChanged", R"({"added":[],"removed":[]})"},
                                              {"screenChanged", "[]"}};
    EXPECT_EQ(sim::host::events(), expected);
    EXPECT_EQ(SimPageBridgeEventCount(), 2U);
    EXPECT_EQ(SimPageBridgeViolationCount(), 0U);
}

TEST_F(Events, WaitReturnsOnceAnEventArrivesFromADetachedThread) {
    std::thread([] {
        std::this_thread::sleep_for(20ms);
        BridgeHelperDispatchEvent("sensorChanged", "{}");
    }).detach();
    EXPECT_EQ(SimPageBridgeWaitForEvents(1, 5000), 1);
    EXPECT_EQ(SimPageBridgeWaitForEvents(2, 10), 0);
}

TEST_F(Events, NullNameOrPayloadIsAViolation) {
    ::testing::internal::CaptureStderr();
    BridgeHelperDispatchEvent(nullptr, "{}");
    BridgeHelperDispatchEvent("x", nullptr);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(SimPageBridgeViolationCount(), 2U);
    EXPECT_EQ(SimPageBridgeEventCount(), 2U);
}

// ---- listener ------------------------------------------------------------------------------

struct Heard {
    std::vector<std::string> lines;
    std::vector<std::size_t> responseCounts; // as seen from inside the listener
};

void listen(void* user, std::int32_t kind, std::int32_t promiseId, std::int32_t statusCode,
            char const* name, char const* json) {
    auto* heard = static_cast<Heard*>(user);
    if (kind == SIM_PAGEBRIDGE_RESPONSE) {
        heard->lines.push_back("response " + std::to_string(promiseId) + " " +
                               std::to_string(statusCode) + " " + json +
                               (name == nullptr ? "" : " with a name"));
    } else {
        heard->lines.push_back("event " + std::string(name) + " " + json + " " +
                               std::to_string(promiseId) + " " + std::to_string(statusCode));
    }
    heard->responseCounts.push_back(SimPageBridgeResponseCount());
}

TEST_F(Listener, HearsAnswersAndEventsAsTheyHappen) {
    Heard heard;
    SimPageBridgeSetListener(listen, &heard);
    std::int32_t const id = BridgeHelperCreatePromiseID();
    BridgeHelperSetResponse(id, 200, "[1]");
    BridgeHelperDispatchEvent("screenChanged", "{}");
    SimPageBridgeSetListener(nullptr, nullptr);
    BridgeHelperDispatchEvent("unheard", "{}");

    EXPECT_EQ(heard.lines,
              std::vector<std::string>({"response 1 200 [1]", "event screenChanged {} 0 0"}));
}

TEST_F(Listener, IsCalledAfterRecordingWithNoLockHeld) {
    Heard heard;
    SimPageBridgeSetListener(listen, &heard);
    BridgeHelperSetResponse(BridgeHelperCreatePromiseID(), 200, "{}");
    SimPageBridgeSetListener(nullptr, nullptr);
    // The listener's own call into the library returned, and already saw the answer.
    EXPECT_EQ(heard.responseCounts, std::vector<std::size_t>({1}));
}

TEST_F(Listener, OutlivesReset) {
    Heard heard;
    SimPageBridgeSetListener(listen, &heard);
    SimPageBridgeReset();
    BridgeHelperDispatchEvent("e", "{}");
    SimPageBridgeSetListener(nullptr, nullptr);
    EXPECT_EQ(heard.lines.size(), 1U);
}

// ---- native-event callbacks ----------------------------------------------------------------

TEST_F(EventCallbacks, ReceiveTheNameAndTheirUserData) {
    Seen first;
    Seen second;
    BridgeHelperAddEventCallback(record, &first);
    BridgeHelperAddEventCallback(record, &second);
    unsigned char const event[32] = {89};
    EXPECT_EQ(SimPageBridgeDeliverNativeEvent("_native_xcb_generic_event_t", event, sizeof event),
              2U);
    BridgeHelperRemoveEventCallback(record, &first);
    BridgeHelperRemoveEventCallback(record, &second);

    EXPECT_EQ(first.names, std::vector<std::string>({"_native_xcb_generic_event_t"}));
    EXPECT_EQ(second.names, std::vector<std::string>({"_native_xcb_generic_event_t"}));
    EXPECT_EQ(first.firstBytes.at(0), 89);
}

TEST_F(EventCallbacks, SamePairAddedTwiceIsRegisteredOnce) {
    std::size_t const before = SimPageBridgeObserverCount();
    Seen seen;
    BridgeHelperAddEventCallback(count, &seen);
    BridgeHelperAddEventCallback(count, &seen);
    EXPECT_EQ(SimPageBridgeObserverCount(), before + 1);
    EXPECT_EQ(SimPageBridgeDeliverNativeEvent("e", nullptr, 0), 1U);
    EXPECT_EQ(seen.calls.load(), 1);
    BridgeHelperRemoveEventCallback(count, &seen);
    EXPECT_EQ(SimPageBridgeObserverCount(), before);
}

TEST_F(EventCallbacks, SameCallbackWithOtherUserDataIsAnotherPair) {
    std::size_t const before = SimPageBridgeObserverCount();
    Seen a;
    Seen b;
    BridgeHelperAddEventCallback(count, &a);
    BridgeHelperAddEventCallback(count, &b);
    EXPECT_EQ(SimPageBridgeObserverCount(), before + 2);
    BridgeHelperRemoveEventCallback(count, &a);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    EXPECT_EQ(a.calls.load(), 0);
    EXPECT_EQ(b.calls.load(), 1);
    BridgeHelperRemoveEventCallback(count, &b);
}

TEST_F(EventCallbacks, RemovingAnUnknownPairChangesNothing) {
    Seen registered;
    Seen other;
    BridgeHelperAddEventCallback(count, &registered);
    std::size_t const withIt = SimPageBridgeObserverCount();
    BridgeHelperRemoveEventCallback(count, &other);
    BridgeHelperRemoveEventCallback(record, &registered);
    EXPECT_EQ(SimPageBridgeObserverCount(), withIt);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    EXPECT_EQ(registered.calls.load(), 1);
    BridgeHelperRemoveEventCallback(count, &registered);
}

TEST_F(EventCallbacks, RemovedPairIsNotCalledAgain) {
    Seen seen;
    BridgeHelperAddEventCallback(count, &seen);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    BridgeHelperRemoveEventCallback(count, &seen);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    EXPECT_EQ(seen.calls.load(), 1);
}

TEST_F(EventCallbacks, ShortEventDataIsZeroPaddedToThirtyTwoReadableBytes) {
    Seen seen;
    BridgeHelperAddEventCallback(record, &seen);
    unsigned char const event[4] = {0x59, 1, 2, 3};
    SimPageBridgeDeliverNativeEvent("_native_xcb_generic_event_t", event, sizeof event);
    BridgeHelperRemoveEventCallback(record, &seen);

    std::vector<unsigned char> expected(32, 0);
    expected[0] = 0x59;
    expected[1] = 1;
    expected[2] = 2;
    expected[3] = 3;
    EXPECT_EQ(seen.firstBytes, expected);
}

TEST_F(EventCallbacks, NullDataReachesTheCallbackAsNull) {
    Seen seen;
    BridgeHelperAddEventCallback(record, &seen);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    BridgeHelperRemoveEventCallback(record, &seen);
    EXPECT_TRUE(seen.dataWasNull);
}

void removeItself(char const*, char const*, void* userData) {
    ++static_cast<Seen*>(userData)->calls;
    BridgeHelperRemoveEventCallback(removeItself, userData);
}

TEST_F(EventCallbacks, CallbackMayRemoveItselfWhileRunning) {
    Seen seen;
    BridgeHelperAddEventCallback(removeItself, &seen);
    EXPECT_EQ(SimPageBridgeDeliverNativeEvent("e", nullptr, 0), 1U);
    EXPECT_EQ(SimPageBridgeDeliverNativeEvent("e", nullptr, 0), 0U);
    EXPECT_EQ(seen.calls.load(), 1);
}

struct Pair {
    Seen first;
    Seen second;
};

void addSecond(char const*, char const*, void* userData) {
    auto* pair = static_cast<Pair*>(userData);
    ++pair->first.calls;
    BridgeHelperAddEventCallback(count, &pair->second);
}

void removeSecond(char const*, char const*, void* userData) {
    auto* pair = static_cast<Pair*>(userData);
    ++pair->first.calls;
    BridgeHelperRemoveEventCallback(count, &pair->second);
}

TEST_F(EventCallbacks, PairAddedDuringDeliveryMissesThatEvent) {
    Pair pair;
    BridgeHelperAddEventCallback(addSecond, &pair);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    EXPECT_EQ(pair.second.calls.load(), 0);
    SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
    EXPECT_EQ(pair.second.calls.load(), 1);
    BridgeHelperRemoveEventCallback(addSecond, &pair);
    BridgeHelperRemoveEventCallback(count, &pair.second);
}

TEST_F(EventCallbacks, PairRemovedDuringDeliveryIsSkipped) {
    Pair pair;
    BridgeHelperAddEventCallback(removeSecond, &pair);
    BridgeHelperAddEventCallback(count, &pair.second);
    EXPECT_EQ(SimPageBridgeDeliverNativeEvent("e", nullptr, 0), 1U);
    EXPECT_EQ(pair.second.calls.load(), 0);
    BridgeHelperRemoveEventCallback(removeSecond, &pair);
}

// A callback that stays inside until released, to hold a call open on another thread.
struct Gate {
    std::mutex mutex;
    std::condition_variable changed;
    bool entered = false;
    bool released = false;
};

void waitAtGate(char const*, char const*, void* userData) {
    auto* gate = static_cast<Gate*>(userData);
    std::unique_lock<std::mutex> lock(gate->mutex);
    gate->entered = true;
    gate->changed.notify_all();
    gate->changed.wait(lock, [gate] { return gate->released; });
}

TEST_F(EventCallbacks, RemovalWaitsForTheCallRunningOnAnotherThread) {
    Gate gate;
    BridgeHelperAddEventCallback(waitAtGate, &gate);
    std::thread deliverer([] { SimPageBridgeDeliverNativeEvent("e", nullptr, 0); });
    {
        std::unique_lock<std::mutex> lock(gate.mutex);
        ASSERT_TRUE(gate.changed.wait_for(lock, 5s, [&] { return gate.entered; }));
    }
    auto removal =
        std::async(std::launch::async, [&] { BridgeHelperRemoveEventCallback(waitAtGate, &gate); });
    EXPECT_EQ(removal.wait_for(100ms), std::future_status::timeout);
    {
        std::lock_guard<std::mutex> lock(gate.mutex);
        gate.released = true;
    }
    gate.changed.notify_all();
    EXPECT_EQ(removal.wait_for(5s), std::future_status::ready);
    deliverer.join();
}

TEST_F(EventCallbacks, NoCallStartsAfterRemovalReturnsWhileOthersKeepDelivering) {
    Seen seen;
    BridgeHelperAddEventCallback(count, &seen);
    std::atomic<bool> stop{false};
    std::vector<std::thread> deliverers;
    for (int i = 0; i < 4; ++i) {
        deliverers.emplace_back([&stop] {
            while (!stop)
                SimPageBridgeDeliverNativeEvent("e", nullptr, 0);
        });
    }
    auto const deadline = std::chrono::steady_clock::now() + 5s;
    while (seen.calls < 100 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    BridgeHelperRemoveEventCallback(count, &seen);
    int const atRemoval = seen.calls;
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(seen.calls.load(), atRemoval);
    stop = true;
    for (auto& thread : deliverers)
        thread.join();
    EXPECT_GE(atRemoval, 100);
}

// The plug-in removes its callback from a static destructor; the library must still work then.
TEST_F(EventCallbacks, RemovalFromAStaticDestructorAtExitWorks) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            static Seen seen;
            struct RemoveAtExit {
                ~RemoveAtExit() {
                    BridgeHelperRemoveEventCallback(count, &seen);
                    std::fprintf(stderr, "left after exit removal: %zu\n",
                                 SimPageBridgeObserverCount());
                }
            };
            static RemoveAtExit remover;
            BridgeHelperAddEventCallback(count, &seen);
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "left after exit removal: 0");
}

} // namespace
