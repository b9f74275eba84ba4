// DelayedTasks: one joinable thread per delayed task, reaped as tasks finish, cancelled at stop.
#include "notification/delayed_tasks.h"

#include <utility>
#include <vector>

namespace kavri::notification {

DelayedTasks::~DelayedTasks() {
    cancelAll();
}

void DelayedTasks::start(std::chrono::microseconds delay, std::function<void()> work) {
    std::vector<std::thread> done;
    {
        std::lock_guard<std::mutex> const held(mutex_);
        for (auto it = tasks_.begin(); it != tasks_.end();) {
            if (it->finished) {
                done.push_back(std::move(it->thread));
                it = tasks_.erase(it);
            } else {
                ++it;
            }
        }
        Task& task = tasks_.emplace_back();
        try {
            task.thread = std::thread([this, &task, delay, generation = generation_,
                                       work = std::move(work)] { run(task, delay, generation, work); });
        } catch (...) {
            tasks_.pop_back();
            for (std::thread& t : done)
                t.join();
            throw;
        }
    }
    // A finished task has only its return left to do, so these joins are short.
    for (std::thread& t : done)
        t.join();
}

void DelayedTasks::run(Task& task, std::chrono::microseconds delay, std::uint64_t generation,
                       std::function<void()> const& work) {
    bool cancelled = false;
    {
        std::unique_lock<std::mutex> held(mutex_);
        cancelled = wake_.wait_for(held, delay, [&] { return generation_ != generation; });
    }
    if (!cancelled) {
        try {
            work();
        } catch (...) {
            // Nothing may leave a thread of the plug-in: the host process would end.
        }
    }
    std::lock_guard<std::mutex> const held(mutex_);
    task.finished = true;
}

std::size_t DelayedTasks::pending() const {
    std::lock_guard<std::mutex> const held(mutex_);
    return tasks_.size();
}

void DelayedTasks::cancelAll() {
    std::list<Task> stopping;
    {
        std::lock_guard<std::mutex> const held(mutex_);
        ++generation_;
        stopping.splice(stopping.end(), tasks_);
    }
    wake_.notify_all();
    for (Task& task : stopping) {
        if (task.thread.joinable())
            task.thread.join();
    }
}

} // namespace kavri::notification
