// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The registry's lists of providers, and what they mean for the connections.

#include "consumer/consumer_impl.hpp"
#include "errors/operation_names.hpp"
#include "protocol/registry_codec.hpp"
#include "runtime/callback_boundary.hpp"
#include <hub/provider_connection.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

std::shared_ptr<consumer::impl::identifier_set> consumer::impl::get_provider_identifiers() {
    std::scoped_lock const lock{m_identifiers_mutex};
    return m_provider_identifiers;
}

void consumer::impl::replace_identifiers(std::shared_ptr<identifier_set> identifiers) {
    std::scoped_lock const lock{m_identifiers_mutex};
    m_provider_identifiers.swap(identifiers); // the old set goes after the lock
}

std::shared_ptr<consumer::impl::identifier_set> consumer::impl::deserialize_provider_list(
    received_message const& message, bool is_event) const {
    decode_context const context{kind, m_name, operation_name::decode_provider_list};
    return std::make_shared<identifier_set>(
        is_event ? decode_provider_list_event(message.bytes(), context)
                 : decode_provider_list_reply(message.bytes(), context));
}

void consumer::impl::recv_providers_sub_handler(received_message message) {
    auto const identifiers = deserialize_provider_list(message, true);
    auto const changes = adopt_list_event(message, identifiers);
    if (!changes) {
        return; // disconnected a moment ago, and perhaps connected again
    }
    notify_connections(*changes);
    if (m_providers_callback.function != nullptr && !m_gate->is_shut()) {
        m_providers_callback.function(identifiers, m_self, m_providers_callback.user_data);
    }
}

std::optional<consumer::impl::availability_changes> consumer::impl::adopt_list_event(
    received_message const& message, std::shared_ptr<identifier_set> const& identifiers) {
    std::scoped_lock const lock{m_mutex};
    if (!m_session || !m_session->has_received(message)) {
        return std::nullopt;
    }
    ++m_list_events;
    replace_identifiers(identifiers);
    return record_availability(*identifiers);
}

consumer::impl::availability_changes consumer::impl::record_availability(
    identifier_set const& identifiers) {
    availability_changes changes;
    for (auto const& [provider_id, connection] : m_attached_connections) {
        if (!identifiers.contains(provider_id)) {
            // Intended: with every list that the provider is missing from.
            changes.lost.push_back(connection);
            m_lost_providers.insert(provider_id);
        } else if (m_lost_providers.erase(provider_id) != 0) {
            changes.returned.push_back(connection);
        }
    }
    return changes;
}

// Without the lock: the application may use the consumer from its callbacks, and destroy it, which
// disconnects the other connections.
void consumer::impl::notify_connections(availability_changes const& changes) {
    for (auto const& connection : changes.lost) {
        at_callback_boundary(m_name, [&connection] {
            connection->set_provider_availability(provider_connection_event::provider_lost);
        });
    }
    for (auto const& connection : changes.returned) {
        at_callback_boundary(m_name, [&connection] {
            connection->set_provider_availability(provider_connection_event::provider_returned);
        });
        at_callback_boundary(m_name, [&connection] { connection->request_provider_definition(); });
    }
}

} // namespace arvenhold::corvel::hub
