// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/session_settings.hpp>

#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds minimum{1};
constexpr milliseconds maximum{std::chrono::hours{24}};

void require_in_range(milliseconds time, char const* complaint) {
    if (time < minimum || time > maximum) {
        throw std::invalid_argument{complaint};
    }
}

} // namespace

struct session_settings::values {
    milliseconds first_retry{250};
    milliseconds longest_retry{10'000};
    milliseconds ping_interval{2'000};
    int unanswered_pings = 2;
    bool wait_for_dispatch = false;
    milliseconds probe_interval{30'000};
    int delivery_threads = 4;
};

session_settings::values const& session_settings::current() const {
    static values const defaults;
    return m_values ? *m_values : defaults;
}

session_settings& session_settings::set_retry(milliseconds first, milliseconds longest) {
    require_in_range(first, "session_settings: first retry must be 1 ms to 24 h");
    require_in_range(longest, "session_settings: longest retry must be 1 ms to 24 h");
    if (first > longest) {
        throw std::invalid_argument{
            "session_settings: first retry must not be above the longest one"};
    }
    auto changed = std::make_shared<values>(current());
    changed->first_retry = first;
    changed->longest_retry = longest;
    m_values = std::move(changed);
    return *this;
}

milliseconds session_settings::get_first_retry() const {
    return current().first_retry;
}

milliseconds session_settings::get_longest_retry() const {
    return current().longest_retry;
}

session_settings& session_settings::set_ping(milliseconds interval, int unanswered) {
    require_in_range(interval, "session_settings: ping interval must be 1 ms to 24 h");
    if (unanswered < 1) {
        throw std::invalid_argument{"session_settings: unanswered pings must be 1 or more"};
    }
    auto changed = std::make_shared<values>(current());
    changed->ping_interval = interval;
    changed->unanswered_pings = unanswered;
    m_values = std::move(changed);
    return *this;
}

milliseconds session_settings::get_ping_interval() const {
    return current().ping_interval;
}

int session_settings::get_unanswered_pings() const {
    return current().unanswered_pings;
}

session_settings& session_settings::set_handlers_wait_for_dispatch(bool wait) {
    auto changed = std::make_shared<values>(current());
    changed->wait_for_dispatch = wait;
    m_values = std::move(changed);
    return *this;
}

bool session_settings::handlers_wait_for_dispatch() const {
    return current().wait_for_dispatch;
}

session_settings& session_settings::set_probe_interval(milliseconds interval) {
    if (interval < milliseconds{100} || interval > maximum) {
        throw std::invalid_argument{"session_settings: probe interval must be 100 ms to 24 h"};
    }
    auto changed = std::make_shared<values>(current());
    changed->probe_interval = interval;
    m_values = std::move(changed);
    return *this;
}

milliseconds session_settings::get_probe_interval() const {
    return current().probe_interval;
}

session_settings& session_settings::set_delivery_threads(int threads) {
    if (threads < 1 || threads > 1'024) {
        throw std::invalid_argument{"session_settings: delivery threads must be 1 to 1,024"};
    }
    auto changed = std::make_shared<values>(current());
    changed->delivery_threads = threads;
    m_values = std::move(changed);
    return *this;
}

int session_settings::get_delivery_threads() const {
    return current().delivery_threads;
}

} // namespace arvenhold::corvel::hub
