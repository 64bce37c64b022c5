// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <chrono>
#include <mutex>

namespace arvenhold::corvel::hub {

/// Decides when sessions may connect, so that they do not flood the token endpoint: each connect
/// requests one token. Thread-safe.
class token_pace {
public:
    using time_point = std::chrono::steady_clock::time_point;

    explicit token_pace(std::chrono::milliseconds distance);

    /// Returns when the caller may connect: at `wanted` or later, and not before the distance has
    /// passed since the time that was returned last.
    time_point reserve(time_point wanted) CORVEL_HUB_EXCLUDES(m_mutex);

private:
    std::chrono::milliseconds const m_distance;
    std::mutex m_mutex;
    time_point m_next CORVEL_HUB_GUARDED_BY(m_mutex) = time_point::min();
};

/// The pace of all sessions of the process: one connect in a second.
token_pace& process_token_pace();

} // namespace arvenhold::corvel::hub
