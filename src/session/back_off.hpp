// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <chrono>
#include <cstdint>
#include <random>

namespace arvenhold::corvel::hub {

/// The waits between attempts to repair: doubling up to a maximum, each shortened at random by up to
/// a half, so that clients that failed together do not come back together. Used by one thread.
class back_off {
public:
    /// @param first    The first wait, not above `longest`.
    /// @param longest  The maximum.
    /// @param seed     Decides the random part.
    back_off(
        std::chrono::milliseconds first, std::chrono::milliseconds longest, std::uint32_t seed);

    /// Returns the next wait.
    std::chrono::milliseconds next();

    /// Begins again with the first wait; called after a success.
    void reset();

private:
    std::chrono::milliseconds const m_first;
    std::chrono::milliseconds const m_longest;
    std::chrono::milliseconds m_next;
    std::minstd_rand m_random;
};

} // namespace arvenhold::corvel::hub
