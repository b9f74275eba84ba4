// Waiting for an effect with a deadline instead of sleeping a fixed time.
#pragma once

#include <chrono>
#include <thread>

namespace test {

// Calls `done` every `step` until it returns true or `timeout` has passed; whether it did.
template <typename Done>
bool waitUntil(Done done, std::chrono::milliseconds timeout,
               std::chrono::milliseconds step = std::chrono::milliseconds(10)) {
    auto const deadline = std::chrono::steady_clock::now() + timeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(step);
    }
    return true;
}

} // namespace test
