// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <atomic>

namespace arvenhold::corvel::hub {

// Two fences that order memory between two threads, of which one runs often and the other rarely.
// The one in the frequent thread costs next to nothing; the rare thread pays for both. As proposed
// for C++ by D. Goldblatt, "Asymmetric Fences", P1202, 2018.
//
// Guarantee: of two threads, one that stores a, passes light_fence(), loads b, and one that stores
// b, passes heavy_fence() that returns true, loads a, at least one loads what the other has stored.

/// Whether heavy_fence() interrupts the other threads. Set while the library is loaded, before its
/// other code runs; while false, both fences are full ones.
// NOLINTNEXTLINE(*-avoid-non-const-global-variables): constant once the library is loaded
CORVEL_HUB_INTERNAL extern bool heavy_fence_reaches_all_threads;

/// A full fence of all processors that run a thread of this process; takes about a microsecond.
///
/// @return false if the guarantee does not hold: the process has entered a sandbox since it loaded the
///         library, and may not interrupt the other threads any more.
[[nodiscard]] CORVEL_HUB_INTERNAL bool heavy_fence();

/// Keeps the compiler from moving accesses across. The processor may do so, but not across the
/// interruption by heavy_fence().
inline void light_fence() {
    if (heavy_fence_reaches_all_threads) {
        std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
        __sync_synchronize(); // GCC's thread sanitizer refuses std::atomic_thread_fence()
    }
}

} // namespace arvenhold::corvel::hub
