// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/paced_credentials.hpp"

#include <chrono>
#include <stdexcept>

namespace arvenhold::corvel::hub {

paced_credentials::paced_credentials(
    hub_access const& access, token_pace& pace, std::chrono::milliseconds longest_wait)
    : m_own{access.client_id, access.client_secret}
    , m_callback{access.options.get_credentials_callback()}
    , m_user_data{access.options.get_credentials_user_data()}
    , m_pace{pace}
    , m_longest_wait{longest_wait} {}

void paced_credentials::use_in(connect_options& options) {
    options.set_credentials_callback(
        [](void* user_data) { return static_cast<paced_credentials*>(user_data)->get_in_turn(); },
        this);
}

client_credentials paced_credentials::get_in_turn() {
    wait_for_turn();
    return m_callback != nullptr ? m_callback(m_user_data) : m_own;
}

// Not analysed: the wait releases the lock.
void paced_credentials::wait_for_turn() CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_mutex};
    require_not_stopped();
    auto const now = std::chrono::steady_clock::now();
    auto const turn = m_pace.reserve_request(now, now + m_longest_wait);
    if (!turn) {
        throw std::runtime_error{"too many token requests of this process are waiting"};
    }
    while (!m_is_stopped && m_stopping.wait_until(lock, *turn) != std::cv_status::timeout) {
    }
    require_not_stopped();
}

void paced_credentials::require_not_stopped() const {
    if (m_is_stopped) {
        throw std::runtime_error{"the session has been stopped"};
    }
}

void paced_credentials::stop() {
    {
        std::scoped_lock const lock{m_mutex};
        m_is_stopped = true;
    }
    m_stopping.notify_all();
}

} // namespace arvenhold::corvel::hub
