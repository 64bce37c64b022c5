// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <chrono>
#include <mutex>
#include <optional>

namespace arvenhold::corvel::hub {

/// Keeps a distance between the token requests of sessions, so that they do not flood the token
/// endpoint. Thread-safe.
///
/// A session asks twice: before it connects, for which it may have to wait long, and before each
/// token request of the connect, for which there is little time. Usually the second turn is there at
/// once. It is not if servers deny access, because the NATS client requests a token for each server
/// that it tries, or if something has delayed the connect; further connects then wait for these
/// requests.
class token_pace {
public:
    using time_point = std::chrono::steady_clock::time_point;

    explicit token_pace(std::chrono::milliseconds distance);

    /// Begins a connect, if the distance has passed since the latest one and the latest request.
    ///
    /// @return  `now` if the caller may connect; otherwise a later time, when to try again.
    time_point begin_connect(time_point now) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Reserves the turn of a request.
    ///
    /// @return  `now` or later. Nothing, and no turn is reserved, if it would be after `latest`.
    std::optional<time_point> reserve_request(time_point now, time_point latest)
        CORVEL_HUB_EXCLUDES(m_mutex);

private:
    std::chrono::milliseconds const m_distance;
    std::mutex m_mutex;
    time_point m_next_connect CORVEL_HUB_GUARDED_BY(m_mutex) = time_point::min();
    time_point m_next_request CORVEL_HUB_GUARDED_BY(m_mutex) = time_point::min();
};

/// The pace of all sessions of the process: one request in a second.
token_pace& process_token_pace();

} // namespace arvenhold::corvel::hub
