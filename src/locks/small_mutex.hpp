// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "locks/asymmetric_fence.hpp"
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstdint>

namespace arvenhold::corvel::hub {

/// A mutex that costs little while nobody waits for it: eight bytes, where std::mutex has forty, and
/// one atomic read-modify-write for lock() and unlock() together. A contended thread
/// spins with exponential back-off, then blocks. Not recursive, not fair.
///
/// Unlike a std::mutex, it must not be destroyed before unlock() has returned. It is enough that
/// the caller of an operation keeps the object alive that the mutex belongs to.
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
        m_is_locked.store(0, std::memory_order_release);
        light_fence(); // see lock_contended()
        if (m_is_awaited.load(std::memory_order_relaxed) != 0) {
            wake_one();
        }
    }

private:
    // Both are 0 or 1. The second has the size that the kernel can wait for.
    std::atomic<std::uint32_t> m_is_locked{0};
    std::atomic<std::uint32_t> m_is_awaited{0};

    bool try_lock() {
        return m_is_locked.exchange(1, std::memory_order_acquire) == 0;
    }

    void lock_contended();
    void wake_one();
};

} // namespace arvenhold::corvel::hub
