// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "locks/asymmetric_fence.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::size_t rounds = 30'000;
constexpr int cache_line = 64;

// One thread's side of the test for a store that is delayed beyond a load: in every round each
// thread stores to its own variable, then loads the other's. Without fences, both may load what was
// there before, if they do so at nearly the same time.
struct side {
    explicit side(unsigned seed)
        : random{seed} {}

    alignas(cache_line) std::atomic<std::size_t> variable{0};
    alignas(cache_line) std::atomic<std::size_t> finished_round{0};
    std::vector<std::size_t> loaded = std::vector<std::size_t>(rounds + 1);
    std::minstd_rand random;

    template <class Fence>
    void play(side const& other, Fence fence) {
        for (std::size_t round = 1; round <= rounds; ++round) {
            wait_for(other, round - 1);
            pause();
            variable.store(round, std::memory_order_relaxed);
            fence();
            loaded[round] = other.variable.load(std::memory_order_relaxed);
            finished_round.store(round, std::memory_order_release);
        }
    }

    static void wait_for(side const& other, std::size_t round) {
        constexpr int longest_spin = 10'000;
        for (int turn = 0; other.finished_round.load(std::memory_order_acquire) < round; ++turn) {
            if (turn > longest_spin) {
                std::this_thread::yield(); // it may have no processor
            }
        }
    }

    // So that the two meet at other moments in each round.
    void pause() {
        constexpr unsigned longest = 128;
        for (auto turns = random() % longest; turns > 0; --turns) {
            std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the loop
        }
    }
};

} // namespace

TEST(asymmetric_fences, let_one_of_two_threads_see_what_the_other_has_stored) {
    side frequent{1};
    side rare{2};
    {
        std::jthread const thread{[&] {
            frequent.play(rare, [] { light_fence(); });
        }};
        rare.play(frequent, [] { std::ignore = heavy_fence(); });
    }

    int both_missed = 0;
    for (std::size_t round = 1; round <= rounds; ++round) {
        if (frequent.loaded[round] < round && rare.loaded[round] < round) {
            ++both_missed;
        }
    }

    EXPECT_EQ(both_missed, 0);
}

} // namespace arvenhold::corvel::hub
