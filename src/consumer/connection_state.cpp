// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "protocol/subjects.hpp"
#include "runtime/callback_boundary.hpp"
#include "runtime/operation_names.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition_mismatch.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::milliseconds attach_flush_limit{1000};

// `disconnected` and `faulted` are final. A late event must not revive the connection, because the
// application has already been told to attach anew.
constexpr bool follows_provider(provider_connection_state state) {
    return state == provider_connection_state::connected
        || state == provider_connection_state::provider_unavailable;
}

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
    auto callbacks = std::make_unique<callback_registration>(m_link.gate, self);
    auto* const closure = callbacks->closure();
    {
        std::scoped_lock const lock{m_mutex};
        m_callbacks = std::move(callbacks);
    }
    auto* const definition_subscription = subscribe_or_fault(
        m_definition_changed_subject,
        &message_entrance<&impl::recv_definition_changed_sub_handler>,
        closure,
        operation_name::subscribe_definition_changed);
    {
        std::scoped_lock const lock{m_mutex};
        m_definition_subscription = definition_subscription;
    }
    auto* const variables_subscription = subscribe_or_fault(
        m_variables_changed_subject,
        &message_entrance<&impl::recv_variables_changed_sub_handler>,
        closure,
        operation_name::subscribe_variables_changed);
    {
        std::scoped_lock const lock{m_mutex};
        m_variables_subscription = variables_subscription;
    }
    // The server learns of the subscriptions now, so that no event from here on is missed. A
    // failure shows itself with the next request.
    static_cast<void>(m_link.session->flush(attach_flush_limit));
}

natsSubscription* provider_connection::impl::subscribe_or_fault(
    std::string const& subject, natsMsgHandler handler, void* closure, std::string_view operation) {
    auto const outcome = m_link.session->subscribe(subject, handler, closure);
    require_ok(outcome.status, operation, subject);
    return outcome.subscription;
}

bool provider_connection::impl::belongs_to(std::shared_ptr<nats_session> const& session) const {
    return m_link.session == session;
}

std::string const& provider_connection::impl::get_provider_identifier() const {
    return m_provider_id;
}

provider_connection_state provider_connection::impl::get_state() {
    std::scoped_lock const lock{m_mutex};
    return m_state;
}

void provider_connection::impl::set_event_callback(
    connection_event_callback callback, void* user_data) {
    std::scoped_lock const lock{m_mutex};
    m_event_listener = {callback, user_data};
}

void provider_connection::impl::set_variables_changed_callback(
    variables_changed_callback callback, void* user_data) {
    std::scoped_lock const lock{m_mutex};
    m_change_listener = {callback, user_data};
}

provider_connection::impl::event_listener provider_connection::impl::get_event_listener() {
    std::scoped_lock const lock{m_mutex};
    return m_event_listener;
}

void provider_connection::impl::set_provider_availability(provider_connection_event event) {
    auto const listener = record_availability(event);
    if (listener.function != nullptr && event != provider_connection_event::definition_updated) {
        // Called without the lock: the application may use this connection from its callback.
        listener.function(event, m_self, listener.user_data);
    }
}

// Moves the state and returns whom to tell; nobody when the event changes nothing.
provider_connection::impl::event_listener provider_connection::impl::record_availability(
    provider_connection_event event) {
    std::scoped_lock const lock{m_mutex};
    if (!follows_provider(m_state)) {
        return {};
    }
    if (event == provider_connection_event::provider_lost) {
        m_state = provider_connection_state::provider_unavailable;
        mark_all_variables_bad();
    } else {
        m_state = provider_connection_state::connected;
    }
    return m_event_listener;
}

void provider_connection::impl::set_fault_state() {
    // Intended: from every state. A disconnected connection shows that way that an operation which
    // was still running has failed.
    std::scoped_lock const lock{m_mutex};
    m_state = provider_connection_state::faulted;
    mark_all_variables_bad();
}

void provider_connection::impl::mark_all_variables_bad() {
    if (!m_variables) {
        return; // disconnected
    }
    for (auto const& [id, variable] : m_variables->map()) {
        variable->update_quality(variable_quality::bad);
    }
}

void provider_connection::impl::disconnect() {
    std::unique_ptr<callback_registration> callbacks;
    natsSubscription* definition_subscription = nullptr;
    natsSubscription* variables_subscription = nullptr;
    {
        std::scoped_lock const lock{m_mutex};
        m_state = provider_connection_state::disconnected;
        m_fingerprint = 0;
        m_variables.reset();
        m_change_listener = {};
        m_event_listener = {};
        callbacks.swap(m_callbacks);
        std::swap(definition_subscription, m_definition_subscription);
        std::swap(variables_subscription, m_variables_subscription);
    }
    callbacks.reset();
    for (auto* const subscription : {definition_subscription, variables_subscription}) {
        if (subscription != nullptr) {
            m_link.session->unsubscribe(subscription);
        }
    }
}

void provider_connection::impl::require_connected(std::string_view refusal) {
    // A session that is closed means that the consumer is disconnected or gone.
    if (m_state != provider_connection_state::connected || m_link.session->is_closed()) {
        throw operational_state_invalid::for_connection(m_link.name, m_provider_id, refusal);
    }
}

void provider_connection::impl::require_held(definition_fingerprint fingerprint) {
    if (fingerprint != m_fingerprint) {
        throw provider_definition_mismatch{m_link.name, m_provider_id, m_fingerprint, fingerprint};
    }
}

void provider_connection::impl::require_ok(
    natsStatus status, std::string_view operation, std::string const& subject) {
    if (status == NATS_OK) {
        return;
    }
    set_fault_state();
    throw connection_failed::on_subject(
        client_kind::consumer, m_link.name, operation, status, text_of(status), subject);
}

decode_context provider_connection::impl::context_for(std::string_view operation) const {
    return {client_kind::consumer, m_link.name, operation};
}

nats_message provider_connection::impl::request_or_fault(
    std::string const& subject, std::string_view bytes, std::string_view operation) {
    auto outcome = m_link.session->request(subject, bytes);
    require_ok(outcome.status, operation, subject);
    return std::move(outcome.reply);
}

} // namespace arvenhold::corvel::hub
