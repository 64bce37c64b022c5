// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/token_pace.hpp"
#include <hub/connect_options.hpp>
#include <hub/detail/thread_annotations.hpp>
#include <hub/session/hub_access.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace arvenhold::corvel::hub {

/// Where a session's connections get the credentials for each token request: those of the access,
/// but only when it is the session's turn. Thread-safe.
class paced_credentials {
public:
    /// How long a token request waits for its turn: enough for the one after another session's. The
    /// rest of the connect time limit, by default 2 s, is for the request itself.
    static constexpr std::chrono::milliseconds usual_wait{1'200};

    /// @param access        Its credentials, or those of its callback, are passed on.
    /// @param pace          Decides when. Must outlive this object.
    /// @param longest_wait  A request whose turn would come later gets no credentials.
    paced_credentials(
        hub_access const& access,
        token_pace& pace,
        std::chrono::milliseconds longest_wait = usual_wait);

    paced_credentials(paced_credentials const&) = delete;
    paced_credentials& operator=(paced_credentials const&) = delete;

    ~paced_credentials() = default;

    /// Makes clients that connect with the options get their credentials here. This object must
    /// outlive them.
    void use_in(connect_options& options);

    /// Ends a wait for a turn. From here on there are no credentials.
    void stop() CORVEL_HUB_EXCLUDES(m_mutex);

private:
    client_credentials const m_own;
    credentials_callback const m_callback; // null: m_own
    void* const m_user_data;
    token_pace& m_pace;
    std::chrono::milliseconds const m_longest_wait;

    std::mutex m_mutex;
    std::condition_variable m_stopping;
    bool m_is_stopped CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    client_credentials get_in_turn();
    void wait_for_turn() CORVEL_HUB_EXCLUDES(m_mutex);
    void require_not_stopped() const CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
