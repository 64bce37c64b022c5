// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "locks/small_mutex.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace arvenhold::corvel::hub {

namespace {

// Leaves the cache line to the thread that holds the mutex.
void spin(int length) {
    for (int turn = 0; turn < length; ++turn) {
#ifdef __x86_64__
        __builtin_ia32_pause();
#else
        std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the loop
#endif
    }
}

static_assert(
    sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t)
        && std::atomic<std::uint32_t>::is_always_lock_free,
    "the kernel waits for the 32 bits of the number");

// Returns when woken, at once if `word` is not 1, and sometimes without a reason.
void sleep_while_one(std::atomic<std::uint32_t>& word) {
    // NOLINTNEXTLINE(*-vararg): it has no C function
    syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 1, nullptr);
}

void wake_one_sleeper(std::atomic<std::uint32_t>& word) {
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1); // NOLINT(*-vararg): likewise
}

} // namespace

// No thread sleeps for ever:
//
// 1. A thread falls asleep only while the mutex is marked as awaited; the kernel compares.
// 2. The thread that removes the mark wakes another one afterwards, and a thread that is awake in the loop
//    sets it again before it tries the lock. So while threads sleep, the mark is set, or one of them
//    is being woken and will set it.
// 3. A thread that has set the mark and then found the mutex locked relies on the holder to see the
//    mark. The holder releases the mutex, then looks for the mark; the waiter sets the mark, then
//    looks at the mutex. The fences between let at least one of them see what the other has done.
//    Without the heavy one the holder may miss the mark, so the waiter soon looks again.
void small_mutex::lock_contended() {
    // Shorter steps disturb the holder, which loses the cache line with each attempt. The longest is
    // longer than the holder needs for a few dozen variables, and shorter than to block and wake up.
    constexpr int shortest_spin = 32;
    constexpr int longest_spin = 1024;
    for (int length = shortest_spin; length <= longest_spin; length *= 2) {
        spin(length);
        if (m_is_locked.load(std::memory_order_relaxed) == 0 && try_lock()) {
            return;
        }
    }
    while (true) {
        m_is_awaited.store(1, std::memory_order_relaxed);
        bool const holder_sees_mark = heavy_fence();
        if (try_lock()) {
            return; // leaves the mark for the others that may sleep: nobody counts them
        }
        if (holder_sees_mark) {
            sleep_while_one(m_is_awaited);
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
        }
    }
}

void small_mutex::wake_one() {
    m_is_awaited.store(0, std::memory_order_relaxed);
    wake_one_sleeper(m_is_awaited);
}

} // namespace arvenhold::corvel::hub
