// Threads that do the same at the same time.
#pragma once

#include <atomic>
#include <thread>
#include <vector>

// Calls `before`, then `act` in that many threads at once, and counts the rounds after which
// `is_right` does not hold. The calling thread is one of them: it starts some nanoseconds earlier
// or later in each round. `before` gets the number of the round and a function that lets the other
// threads begin before it returns.
template <typename Before, typename Act, typename IsRight>
int WrongRounds(int rounds, int threads, Before before, Act act, IsRight is_right) {
    std::atomic<int> round = 0;
    std::atomic<int> done = 0;
    const auto wait_for = [](const std::atomic<int>& counter, int value) {
        for (int i = 0; counter != value; ++i) {
            if (i > 1000) {
                std::this_thread::yield();
            }
        }
    };
    std::vector<std::thread> others;
    while (static_cast<int>(others.size()) < threads - 1) {
        others.emplace_back([&] {
            for (int i = 1; i <= rounds; ++i) {
                wait_for(round, i);
                act();
                ++done;
            }
        });
    }
    int wrong = 0;
    for (int i = 1; i <= rounds; ++i) {
        done = 1;
        const auto begin = [&] {
            round = i;
            for (volatile int delay = i % 400; delay != 0;) {
                delay = delay - 1;
            }
        };
        before(i, begin);
        begin();
        act();
        wait_for(done, threads);
        wrong += is_right() ? 0 : 1;
    }
    for (std::thread& other : others) {
        other.join();
    }
    return wrong;
}
