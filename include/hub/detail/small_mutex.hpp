// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstdint>

namespace arvenhold::corvel::hub::detail {

/// A mutex of four bytes, where std::mutex has forty, for objects that there are many of and that
/// are mostly locked for a few nanoseconds: a thread that finds it taken looks again a few times
/// before it goes to sleep. Not recursive, not fair. For the library's own use: its slow parts are
/// not exported.
class CORVEL_HUB_CAPABILITY("mutex") small_mutex {
public:
    small_mutex() = default;
    small_mutex(small_mutex const&) = delete;
    small_mutex& operator=(small_mutex const&) = delete;
    ~small_mutex() = default;

    void lock() CORVEL_HUB_ACQUIRE() {
        if (!try_lock()) {
            wait_and_lock();
        }
    }

    void unlock() CORVEL_HUB_RELEASE() {
        if (m_state.exchange(state::unlocked, std::memory_order_release) == state::awaited) {
            wake_one();
        }
    }

private:
    enum class state : std::int32_t {
        unlocked,
        locked,
        awaited, ///< Locked, and threads may be asleep.
    };

    std::atomic<state> m_state{state::unlocked};

    bool try_lock() {
        auto expected = state::unlocked;
        return m_state.compare_exchange_strong(
            expected, state::locked, std::memory_order_acquire, std::memory_order_relaxed);
    }

    void wait_and_lock();
    void wake_one();
};

} // namespace arvenhold::corvel::hub::detail
