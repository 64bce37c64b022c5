// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/small_mutex.hpp"

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

} // namespace

// The second mutex of U. Drepper, "Futexes Are Tricky", 2011, preceded by exponential back-off.
void small_mutex::lock_contended() {
    // Longer than the holder needs for a few dozen variables, shorter than to block and wake up.
    constexpr int longest_spin = 1024;
    for (int length = 1; length <= longest_spin; length *= 2) {
        spin(length);
        if (m_state.load(std::memory_order_relaxed) == state::unlocked && try_lock()) {
            return;
        }
    }
    // Leaves the mutex marked as contended even if no other thread is blocked: nobody counts them.
    while (m_state.exchange(state::contended, std::memory_order_acquire) != state::unlocked) {
        m_state.wait(state::contended, std::memory_order_relaxed);
    }
}

void small_mutex::wake_one() {
    m_state.notify_one();
}

} // namespace arvenhold::corvel::hub
