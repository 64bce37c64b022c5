// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "locks/small_mutex.hpp"
#include <hub/detail/thread_annotations.hpp>

namespace arvenhold::corvel::hub {

/// Holds one mutex at a time, for a thread that updates one variable after the other: neighbours
/// share a mutex, which is then taken once for all of them. Used by one thread; holds nothing at
/// first.
class sliding_lock {
public:
    sliding_lock() = default;
    sliding_lock(sliding_lock const&) = delete;
    sliding_lock& operator=(sliding_lock const&) = delete;

    ~sliding_lock() {
        release();
    }

    /// Releases what is held and locks `mutex`, unless that is what is held. Unchecked: the mutex
    /// is released by another call.
    void move_to(small_mutex& mutex)
        CORVEL_HUB_ASSERTS_HELD(mutex) CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
        if (m_held != &mutex) {
            release();
            mutex.lock();
            m_held = &mutex;
        }
    }

private:
    small_mutex* m_held = nullptr;

    void release() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
        if (m_held != nullptr) {
            m_held->unlock();
            m_held = nullptr;
        }
    }
};

} // namespace arvenhold::corvel::hub
