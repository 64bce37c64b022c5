// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/link_history.hpp"

#include <algorithm>
#include <cstddef>

namespace arvenhold::corvel::hub {

std::vector<link_report> link_history::update(link_reading const& now) {
    constexpr std::size_t most_reports = 4;
    std::vector<link_report> reports;
    reports.reserve(most_reports); // what can fail comes first
    if (m_is_closed) {
        return reports;
    }
    if (m_is_up && (!now.is_connected || now.reconnects > m_reconnects)) {
        m_is_up = false;
        reports.push_back({link_event::lost});
    }
    if (!m_is_up && now.is_connected) {
        m_is_up = true;
        reports.push_back({link_event::restored});
    }
    if (now.is_connected) {
        m_reconnects = std::max(m_reconnects, now.reconnects);
    }
    if (now.dropped_messages != 0) {
        reports.push_back({link_event::messages_dropped, now.dropped_messages});
    }
    if (now.is_closed) {
        m_is_closed = true;
        reports.push_back({link_event::closed});
    }
    return reports;
}

bool link_history::is_closed() const {
    return m_is_closed;
}

} // namespace arvenhold::corvel::hub
