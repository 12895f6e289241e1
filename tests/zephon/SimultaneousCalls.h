#pragma once

#include <thread>
#include <vector>

/// Calls that run at the same time, each in a thread of its own and `rounds` times over, with the
/// number of the round from 0 on. The destructor waits until all of them have ended.
class SimultaneousCalls {
public:
    explicit SimultaneousCalls(int rounds) : rounds_(rounds) {}
    ~SimultaneousCalls() {
        for (auto& thread : threads_) {
            thread.join();
        }
    }
    SimultaneousCalls(SimultaneousCalls const&) = delete;
    SimultaneousCalls& operator=(SimultaneousCalls const&) = delete;

    template <typename Call>
    void start(Call call) {
        threads_.emplace_back([call, rounds = rounds_] {
            for (int round = 0; round < rounds; ++round) {
                call(round);
            }
        });
    }

private:
    const int rounds_;
    std::vector<std::thread> threads_;
};
