// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/detail/small_mutex.hpp>

namespace arvenhold::corvel::hub::detail {

namespace {

// Leaves the cache line to the thread that holds the mutex.
void pause(int length) {
    for (int turn = 0; turn < length; ++turn) {
#ifdef __x86_64__
        __builtin_ia32_pause();
#else
        std::atomic_signal_fence(std::memory_order_seq_cst); // keeps the loop
#endif
    }
}

} // namespace

// As in U. Drepper, "Futexes Are Tricky", 2011, the second mutex, with a look now and then before
// sleeping.
void small_mutex::wait_and_lock() {
    // Longer than the holder needs for a few dozen variables, shorter than to sleep and wake up.
    constexpr int longest_pause = 1024;
    for (int length = 1; length <= longest_pause; length *= 2) {
        pause(length);
        if (m_state.load(std::memory_order_relaxed) == state::unlocked && try_lock()) {
            return;
        }
    }
    // Marks the mutex as awaited even if no other thread waits any more: nobody knows.
    while (m_state.exchange(state::awaited, std::memory_order_acquire) != state::unlocked) {
        m_state.wait(state::awaited, std::memory_order_relaxed);
    }
}

void small_mutex::wake_one() {
    m_state.notify_one();
}

} // namespace arvenhold::corvel::hub::detail
