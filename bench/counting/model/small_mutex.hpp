// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Takes the place of the library's mutex of the same name in a program that compiles the library
// again with this folder first: counts what that mutex does.

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <cstddef>
#include <mutex>

namespace arvenhold::corvel::hub {

class CORVEL_HUB_CAPABILITY("mutex") small_mutex {
public:
    /// How many atomic read-modify-writes the library's mutex needs, without contention.
    static constexpr std::size_t to_lock = 1;
    static constexpr std::size_t to_unlock = 1;

    /// How many this thread has needed so far, for all of these mutexes.
    static std::size_t read_modify_writes() {
        return count_;
    }

    void lock() CORVEL_HUB_ACQUIRE() {
        m_mutex.lock();
        count_ += to_lock;
    }

    void unlock() CORVEL_HUB_RELEASE() {
        m_mutex.unlock();
        count_ += to_unlock;
    }

private:
    static inline thread_local std::size_t count_ = 0;

    std::mutex m_mutex;
};

} // namespace arvenhold::corvel::hub
