// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstdint>

namespace arvenhold::corvel::hub {

/// A mutex of four bytes, where std::mutex has forty, for objects that are numerous and held only
/// briefly. A contended thread spins with exponential back-off, then blocks. Not recursive, not
/// fair.
class CORVEL_HUB_CAPABILITY("mutex") small_mutex {
public:
    small_mutex() = default;
    small_mutex(small_mutex const&) = delete;
    small_mutex& operator=(small_mutex const&) = delete;
    ~small_mutex() = default;

    void lock() CORVEL_HUB_ACQUIRE() {
        if (!try_lock()) {
            lock_contended();
        }
    }

    void unlock() CORVEL_HUB_RELEASE() {
        if (m_state.exchange(state::unlocked, std::memory_order_release) == state::contended) {
            wake_one();
        }
    }

private:
    enum class state : std::int32_t {
        unlocked,
        locked,
        contended, ///< Locked, and threads may be blocked.
    };

    std::atomic<state> m_state{state::unlocked};

    bool try_lock() {
        auto expected = state::unlocked;
        return m_state.compare_exchange_strong(
            expected, state::locked, std::memory_order_acquire, std::memory_order_relaxed);
    }

    void lock_contended();
    void wake_one();
};

} // namespace arvenhold::corvel::hub
