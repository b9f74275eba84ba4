// kavri::notification::DelayedTasks: work run on its own thread after a delay, cancellable.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace kavri::notification {

// Each task gets its own thread that waits for the delay and then runs the work. Threads are
// kept joinable, not detached: a host may unload the plug-in right after TearDown, and a thread
// still running code of the plug-in then would crash it. Finished threads are joined when the
// next task starts; cancelAll() wakes the waiting ones (their work is skipped) and joins every
// thread, so after it returns no task of this object runs any more. A task already running its
// work is waited for, not interrupted.
class DelayedTasks {
public:
    DelayedTasks() = default;
    ~DelayedTasks();
    DelayedTasks(DelayedTasks const&) = delete;
    DelayedTasks& operator=(DelayedTasks const&) = delete;

    // Starts a thread that runs `work` after `delay`. Exceptions of `work` are swallowed: the
    // thread is the plug-in's own and nothing may leave it. Throws std::system_error when no
    // thread can be started.
    void start(std::chrono::microseconds delay, std::function<void()> work);
    // Tasks started and not yet joined.
    std::size_t pending() const;
    void cancelAll();

private:
    struct Task {
        std::thread thread;
        bool finished = false; // guarded by mutex_
    };

    void run(Task& task, std::chrono::microseconds delay, std::uint64_t generation,
             std::function<void()> const& work);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::uint64_t generation_ = 0; // moved on by cancelAll(): tasks of earlier ones skip work
    std::list<Task> tasks_;
};

} // namespace kavri::notification
