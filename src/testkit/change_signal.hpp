// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How a waiting test learns that something has changed. Raised on any thread.

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace arvenhold::corvel::hub::testkit {

class change_signal {
public:
    using time_point = std::chrono::steady_clock::time_point;

    /// Ends every wait, after something has changed. The caller may hold locks.
    void raise() CORVEL_HUB_EXCLUDES(m_mutex);

    /// How often it was raised.
    [[nodiscard]] std::uint64_t get_count() const CORVEL_HUB_EXCLUDES(m_mutex);

    /// Waits until it was raised more often than `count` times.
    ///
    /// @return whether it was before the deadline.
    [[nodiscard]] bool wait_beyond(std::uint64_t count, time_point deadline) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_raised;
    std::uint64_t m_count CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
};

/// Calls `look`, and again whenever the signal is raised, until it returns something that is true.
///
/// @return what `look` returned last.
template <class Look>
auto look_until(change_signal const& signal, std::chrono::milliseconds limit, Look look) {
    auto const deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        auto const count = signal.get_count(); // before the look, so that no change is missed
        auto found = look();
        if (found || !signal.wait_beyond(count, deadline)) {
            return found;
        }
    }
}

} // namespace arvenhold::corvel::hub::testkit
