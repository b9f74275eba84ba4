// DelayedTasks: delayed work on joinable threads, reaping, cancellation and swallowed exceptions.
#include "notification/delayed_tasks.h"
#include "wait_support.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

namespace {

using kavri::notification::DelayedTasks;

constexpr std::chrono::microseconds kNever = std::chrono::hours(1);
constexpr std::chrono::microseconds kNow{0};

// Counts when it is destroyed: a task's work is dropped as the last step of its thread.
struct EndMark {
    test::Counter* ended;
    ~EndMark() { ended->add(); }
};

// `work` with a mark that tells when the task's thread let go of it.
std::function<void()> marked(test::Counter& ended, std::function<void()> work) {
    return [mark = std::shared_ptr<EndMark>(new EndMark{&ended}), work] {
        (void)mark;
        work();
    };
}

TEST(DelayedTasks, WorkRunsOnItsOwnThreadAfterTheDelay) {
    test::Counter ran;
    std::thread::id worker;
    DelayedTasks tasks; // joined before the counters its work uses go
    tasks.start(std::chrono::milliseconds(2), [&] {
        worker = std::this_thread::get_id();
        ran.add();
    });
    ASSERT_TRUE(ran.waitFor(1));
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST(DelayedTasks, CancelAllDropsWaitingWorkAndReturnsAfterEveryThreadEnded) {
    test::Counter ran;
    test::Counter ended;
    DelayedTasks tasks;
    for (int i = 0; i < 3; ++i)
        tasks.start(kNever, marked(ended, [&] { ran.add(); }));
    EXPECT_EQ(tasks.pending(), 3u);

    tasks.cancelAll();
    EXPECT_EQ(ended.count(), 3);
    EXPECT_EQ(ran.count(), 0);
    EXPECT_EQ(tasks.pending(), 0u);

    // Cancelling is not a state: work started afterwards runs.
    tasks.start(kNow, [&] { ran.add(); });
    ASSERT_TRUE(ran.waitFor(1));
}

TEST(DelayedTasks, CancelAllWaitsForWorkThatIsRunning) {
    test::Counter started;
    test::Counter waitingRan;
    std::atomic<bool> completed{false};
    DelayedTasks tasks;
    tasks.start(kNow, [&] {
        started.add();
        // Long enough that a cancelAll() that did not wait would return first.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        completed = true;
    });
    tasks.start(kNever, [&] { waitingRan.add(); });
    ASSERT_TRUE(started.waitFor(1));

    tasks.cancelAll();
    EXPECT_TRUE(completed.load()) << "cancelAll() returned while the work was running";
    EXPECT_EQ(waitingRan.count(), 0);
    EXPECT_EQ(tasks.pending(), 0u);
}

TEST(DelayedTasks, FinishedTasksAreReapedWhenTheNextOneStarts) {
    test::Counter gate;
    test::Counter ended;
    DelayedTasks tasks;
    // Held at the gate so that none finishes while the others start.
    for (int i = 0; i < 3; ++i)
        tasks.start(kNow, marked(ended, [&] { ASSERT_TRUE(gate.waitFor(1)); }));
    gate.add();
    ASSERT_TRUE(ended.waitFor(3));
    EXPECT_EQ(tasks.pending(), 3u) << "nothing is reaped before the next start";

    tasks.start(kNever, [] {});
    EXPECT_EQ(tasks.pending(), 1u);
    tasks.cancelAll();
    EXPECT_EQ(tasks.pending(), 0u);
}

TEST(DelayedTasks, ExceptionsOfTheWorkAreSwallowed) {
    test::Counter ended;
    test::Counter ran;
    DelayedTasks tasks;
    tasks.start(kNow, marked(ended, [] { throw std::runtime_error("failed"); }));
    tasks.start(kNow, marked(ended, [] { throw 7; }));
    ASSERT_TRUE(ended.waitFor(2));

    tasks.start(kNow, [&] { ran.add(); });
    ASSERT_TRUE(ran.waitFor(1));
}

TEST(DelayedTasks, DestructionCancelsAndJoins) {
    test::Counter ran;
    test::Counter ended;
    {
        DelayedTasks tasks;
        tasks.start(kNever, marked(ended, [&] { ran.add(); }));
    }
    EXPECT_EQ(ended.count(), 1);
    EXPECT_EQ(ran.count(), 0);
}

} // namespace
