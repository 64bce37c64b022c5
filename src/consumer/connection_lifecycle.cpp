// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "protocol/subjects.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::milliseconds attach_flush_limit{1000};

} // namespace

provider_connection::impl::impl(
    provider_connection& self, std::string const& provider_id, consumer_link link)
    : m_self{self}
    , m_provider_id{provider_id}
    , m_link{std::move(link)}
    , m_read_subject{variables_query_subject(provider_id)}
    , m_write_subject{variables_write_subject(provider_id)}
    , m_definition_query_subject{registry_definition_query_subject(provider_id)}
    , m_definition_changed_subject{registry_definition_changed_subject(provider_id)}
    , m_variables_changed_subject{variables_changed_subject(provider_id)} {}

void provider_connection::impl::open(std::shared_ptr<provider_connection> const& self) {
    if (!m_link.session) {
        throw operational_state_invalid::for_client(
            client_kind::consumer, m_link.name, consumer_not_connected);
    }
    request_provider_definition();
    subscribe_to_changes(self);
}

void provider_connection::impl::subscribe_to_changes(
    std::shared_ptr<provider_connection> const& self) {
    // The connection, not only this part of it, stays alive while a callback runs.
    std::weak_ptr<impl> const owner = std::shared_ptr<impl>{self, this};
    auto const callbacks = std::make_shared<callback_registration_of<impl>>(m_link.gate, owner);
    {
        std::scoped_lock const lock{m_mutex};
        m_callbacks = callbacks;
    }
    try {
        m_link.session->subscribe<
            definition_changed_subscription,
            &impl::recv_definition_changed_sub_handler,
            &impl::set_fault_state>(m_definition_changed_subject, *callbacks);
        m_link.session->subscribe<
            variables_changed_subscription,
            &impl::recv_variables_changed_sub_handler,
            &impl::set_fault_state>(m_variables_changed_subject, *callbacks);
    } catch (connection_failed const&) {
        set_fault_state();
        throw;
    }
    // The server knows the subscriptions now, so that no event from here on is missed. A failure
    // shows with the next request.
    m_link.session->flush(attach_flush_limit);
}

void provider_connection::impl::disconnect() {
    std::shared_ptr<callback_registration> callbacks;
    shared_variables variables; // goes after the lock
    {
        std::scoped_lock const lock{m_mutex};
        m_state = provider_connection_state::disconnected;
        m_fingerprint = 0;
        variables.swap(m_variables);
        m_change_callback = {};
        m_event_callback = {};
        callbacks.swap(m_callbacks);
    }
    if (callbacks) {
        m_link.session->unsubscribe(*callbacks);
    }
}

bool provider_connection::impl::belongs_to(std::shared_ptr<nats_session> const& session) const {
    return m_link.session == session;
}

std::string const& provider_connection::impl::get_client_name() const {
    return m_link.name;
}

std::string const& provider_connection::impl::get_provider_identifier() const {
    return m_provider_id;
}

} // namespace arvenhold::corvel::hub
