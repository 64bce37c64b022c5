// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/consumer_impl.hpp"
#include "protocol/registry_codec.hpp"
#include "runtime/callback_boundary.hpp"
#include "runtime/operation_names.hpp"
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
    nats_message const& message, bool is_event) const {
    payload const data{bytes_of(message)};
    decode_context const context{
        client_kind::consumer, m_name, operation_name::decode_provider_list};
    return std::make_shared<identifier_set>(
        is_event ? decode_provider_list_event(data, context)
                 : decode_provider_list_reply(data, context));
}

void consumer::impl::recv_providers_sub_handler(
    natsConnection* connection,
    natsSubscription* /*subscription*/,
    natsMsg* raw_message,
    void* closure) {
    nats_message const message{raw_message};
    if (!message) {
        write_error_line({"Failed to process providers changed event: event message unavailable"});
        return;
    }
    if (closure == nullptr) {
        write_error_line(
            {"Failed to process providers changed event: unable to resolve associated consumer"});
        return;
    }
    static_cast<impl*>(closure)->take_provider_list_event(message, connection);
}

void consumer::impl::take_provider_list_event(
    nats_message const& message, natsConnection const* source) {
    std::shared_ptr<identifier_set> identifiers;
    try {
        identifiers = deserialize_provider_list(message, true);
    } catch (serialization_fault const& fault) {
        write_error_line({fault.what()});
        return;
    }
    presence_changes changes;
    {
        std::scoped_lock const lock{m_mutex};
        if (!m_session || !m_session->owns(source)) {
            return; // disconnected a moment ago, and perhaps connected again
        }
        ++m_list_events;
        replace_identifiers(identifiers);
        changes = record_presence(*identifiers);
    }
    for (auto const& connection : changes.lost) {
        at_callback_boundary([&connection] {
            connection->set_provider_availability(provider_connection_event::provider_lost);
        });
    }
    for (auto const& connection : changes.returned) {
        at_callback_boundary([&connection] {
            connection->set_provider_availability(provider_connection_event::provider_returned);
        });
        at_callback_boundary([&connection] { connection->request_provider_definition(); });
    }
    if (m_listener.function != nullptr) {
        m_listener.function(identifiers, m_self, m_listener.user_data);
    }
}

consumer::impl::presence_changes consumer::impl::record_presence(
    identifier_set const& identifiers) {
    presence_changes changes;
    for (auto const& [provider_id, connection] : m_attached_connections) {
        if (!identifiers.contains(provider_id)) {
            // Intended: told with every list that the provider is missing from.
            changes.lost.push_back(connection);
            m_lost_providers.insert(provider_id);
        } else if (m_lost_providers.erase(provider_id) != 0) {
            changes.returned.push_back(connection);
        }
    }
    return changes;
}

} // namespace arvenhold::corvel::hub
