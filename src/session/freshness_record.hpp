// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Whether a provider's values are live. Guarded by its owner's lock; the time comes from outside.

#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

namespace arvenhold::corvel::hub {

/// Invariants:
/// 1. Values are live only from the end of a read on, and only if nothing was lost while that was
///    in flight.
/// 2. The first sign of a loss ends it; further signs change no age.
class freshness_record {
public:
    using clock = std::chrono::steady_clock;

    using loss_count = std::uint64_t;

    /// Returns how many losses there were, also while the values were stale.
    [[nodiscard]] loss_count count_losses() const;

    /// All values were read. They are live unless something was lost meanwhile.
    ///
    /// @param begun  What count_losses() returned before the read was requested.
    void finish_reading(loss_count begun);

    /// Something shows that values may have changed without notice.
    ///
    /// @return whether the values were live until now.
    bool lose(clock::time_point now);

    [[nodiscard]] bool is_live() const;

    /// Whether values that were received before `losses` losses are still live.
    [[nodiscard]] bool is_live_since(loss_count losses) const;

    /// When the values became stale; meaningless before the first loss.
    [[nodiscard]] clock::time_point get_stale_since() const;

private:
    loss_count m_losses = 0;
    bool m_live = false;
    clock::time_point m_stale_since{};
};

/// Returns the time of the steady clock up to 10 ms ago, for what happens a million times a second.
inline freshness_record::clock::time_point recent_time() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now); // cannot fail
    return freshness_record::clock::time_point{
        std::chrono::seconds{now.tv_sec} + std::chrono::nanoseconds{now.tv_nsec}};
}

} // namespace arvenhold::corvel::hub
