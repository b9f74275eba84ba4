// A counter that tests wait on, with a generous limit, instead of sleeping for a fixed time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace test {

class Counter {
public:
    void add() {
        {
            std::lock_guard<std::mutex> const held(mutex_);
            ++count_;
        }
        changed_.notify_all();
    }
    int count() const {
        std::lock_guard<std::mutex> const held(mutex_);
        return count_;
    }
    // True once the count reaches n; false if it has not after a limit meant never to be hit.
    bool waitFor(int n) const {
        std::unique_lock<std::mutex> held(mutex_);
        return changed_.wait_for(held, std::chrono::seconds(30), [&] { return count_ >= n; });
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    int count_ = 0;
};

} // namespace test
