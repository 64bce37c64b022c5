// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Takes the place of the library's mutex of the same name in a program that compiles the library
// again with this folder first: counts what that mutex does.

#pragma once

#include "locks/asymmetric_fence.hpp"
#include <hub/detail/thread_annotations.hpp>

#include <cstddef>
#include <mutex>

namespace arvenhold::corvel::hub {

class CORVEL_HUB_CAPABILITY("mutex") small_mutex {
public:
    /// How many this thread has needed so far, for all of these mutexes.
    static std::size_t read_modify_writes() {
        return count_;
    }

    void lock() CORVEL_HUB_ACQUIRE() {
        m_mutex.lock();
        ++count_; // the exchange
    }

    void unlock() CORVEL_HUB_RELEASE() {
        m_mutex.unlock();
        count_ += heavy_fence_reaches_all_threads ? 0 : 1; // a plain store, or a full fence
    }

private:
    // NOLINTNEXTLINE(*-avoid-non-const-global-variables): the mutex itself has no place for it
    static inline thread_local std::size_t count_ = 0;

    std::mutex m_mutex;
};

} // namespace arvenhold::corvel::hub
