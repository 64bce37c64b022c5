// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "locks/sliding_lock.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>

namespace arvenhold::corvel::hub {

namespace {

// Returns once another thread had the mutex.
void expect_free(small_mutex& mutex) {
    auto visit = std::async(std::launch::async, [&] { std::scoped_lock const lock{mutex}; });
    EXPECT_EQ(visit.wait_for(std::chrono::seconds{30}), std::future_status::ready);
}

// Returns what another thread does that waits for the mutex.
std::future<void> expect_held(small_mutex& mutex) {
    auto visit = std::async(std::launch::async, [&] { std::scoped_lock const lock{mutex}; });
    EXPECT_EQ(visit.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);
    return visit;
}

} // namespace

TEST(sliding_lock, holds_nothing_at_first) {
    small_mutex mutex;
    sliding_lock const lock;

    expect_free(mutex);
}

TEST(sliding_lock, keeps_the_mutex_that_it_holds) {
    small_mutex mutex;
    std::future<void> visit;
    {
        sliding_lock lock;
        lock.move_to(mutex);
        lock.move_to(mutex);

        visit = expect_held(mutex);
    }

    visit.get();
}

TEST(sliding_lock, releases_one_mutex_before_it_locks_another) {
    small_mutex first;
    small_mutex second;
    std::future<void> visit;
    {
        sliding_lock lock;
        lock.move_to(first);
        lock.move_to(second);

        expect_free(first);
        visit = expect_held(second);
    }

    visit.get();
}

} // namespace arvenhold::corvel::hub
