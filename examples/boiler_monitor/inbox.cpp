// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "inbox.hpp"

#include <utility>

void inbox::follow(hub::provider_connection& connection) {
    connection.set_event_callback(add_event, this);
    connection.set_variables_changed_callback(add_changes, this);
}

news inbox::collect() {
    std::scoped_lock const lock{m_mutex};
    return std::exchange(m_news, {});
}

void inbox::add_event(
    hub::provider_connection_event event, hub::provider_connection&, void* user_data) {
    auto& self = *static_cast<inbox*>(user_data);
    std::scoped_lock const lock{self.m_mutex};
    self.m_news.events.push_back(event);
}

void inbox::add_changes(
    hub::definition_fingerprint,
    std::vector<hub::variable_id> changed, // NOLINT(performance-unnecessary-value-param): as given
    hub::provider_connection&,
    void* user_data) {
    auto& self = *static_cast<inbox*>(user_data);
    std::scoped_lock const lock{self.m_mutex};
    ++self.m_news.change_events;
    self.m_news.changed.insert(changed.begin(), changed.end());
}
