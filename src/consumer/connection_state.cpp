// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition_mismatch.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// `disconnected` and `faulted` are final: a late event must not revive a connection that the
// application has replaced.
constexpr bool follows_provider(provider_connection_state state) {
    return state == provider_connection_state::connected
        || state == provider_connection_state::provider_unavailable;
}

} // namespace

provider_connection_state provider_connection::impl::get_state() {
    std::scoped_lock const lock{m_mutex};
    return m_state;
}

void provider_connection::impl::set_event_callback(
    connection_event_callback callback, void* user_data) {
    std::scoped_lock const lock{m_mutex};
    m_event_callback = {callback, user_data};
}

void provider_connection::impl::set_variables_changed_callback(
    variables_changed_callback callback, void* user_data) {
    std::scoped_lock const lock{m_mutex};
    m_change_callback = {callback, user_data};
}

provider_connection::impl::event_callback provider_connection::impl::get_event_callback() {
    std::scoped_lock const lock{m_mutex};
    return m_event_callback;
}

void provider_connection::impl::set_provider_availability(provider_connection_event event) {
    auto const callback = record_availability(event);
    if (callback.function != nullptr && event != provider_connection_event::definition_updated) {
        // Called without the lock: the application may use this connection from its callback.
        callback.function(event, m_self, callback.user_data);
    }
}

// Changes the state and returns the callback to call; none if the event changes nothing.
provider_connection::impl::event_callback provider_connection::impl::record_availability(
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
    return m_event_callback;
}

void provider_connection::impl::set_fault_state() {
    // Intended: from every state. A disconnected connection shows that way that an operation which
    // was still running has failed.
    std::scoped_lock const lock{m_mutex};
    m_state = provider_connection_state::faulted;
    mark_all_variables_bad();
}

void provider_connection::impl::mark_all_variables_bad() {
    if (m_variables) { // not disconnected
        mark_bad(*m_variables);
    }
}

void provider_connection::impl::mark_bad(consumer_variable_set const& variables) {
    variables.for_each(
        [](consumer_variable& variable) { variable.update_quality(variable_quality::bad); });
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

decode_context provider_connection::impl::context_for(std::string_view operation) const {
    return {client_kind::consumer, m_link.name, operation};
}

received_message provider_connection::impl::request_or_fault(
    std::string_view operation, std::string const& subject, std::string_view bytes) {
    try {
        return m_link.session->request(operation, subject, bytes);
    } catch (connection_failed const&) {
        set_fault_state();
        throw;
    }
}

} // namespace arvenhold::corvel::hub
