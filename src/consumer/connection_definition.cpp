// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "errors/operation_names.hpp"
#include "runtime/diagnostics.hpp"

#include <exception>
#include <utility>

namespace arvenhold::corvel::hub {

void provider_connection::impl::request_provider_definition() {
    {
        std::scoped_lock const lock{m_mutex};
        require_connected("query the provider definition from provider failed: provider connection "
                          "is not in connected state");
    }
    message_builder request{initial_builder_size};
    serialize_provider_definition_request(request);
    auto const reply = request_or_fault(
        operation_name::request_definition, m_definition_query_subject, finished_bytes(request));
    try {
        deserialize_provider_definition(reply, false);
        update_all_variables();
    } catch (...) {
        set_fault_state();
        throw;
    }
}

void provider_connection::impl::deserialize_provider_definition(
    received_message const& message, bool is_event) {
    auto const context = context_for(operation_name::decode_definition);
    if (!is_event) {
        adopt(decode_definition_reply(message.bytes(), context));
    } else if (auto const definition = decode_definition_event(message.bytes(), context)) {
        adopt(*definition);
    } else {
        withdraw_definition();
    }
}

void provider_connection::impl::adopt(received_definition definition) {
    {
        std::scoped_lock const lock{m_mutex};
        if (definition.fingerprint() == m_fingerprint) {
            return; // values and qualities stay as they are
        }
    }
    auto variables = std::make_shared<consumer_variable_set>(definition.size());
    auto const variable_context = context_for(operation_name::decode_variable_definition);
    for (std::size_t position = 0; position < definition.size(); ++position) {
        auto [id, path, permissions, value] =
            definition.deserialize_variable_definition(position, variable_context);
        variables->add(id, path, value, permissions);
    }
    std::scoped_lock const lock{m_mutex};
    // Compared again: another thread may have adopted the same definition and given its variables
    // to the application. No variables means disconnected meanwhile.
    if (m_variables && definition.fingerprint() != m_fingerprint) {
        m_fingerprint = definition.fingerprint();
        m_variables.swap(variables); // the old map goes after the lock
    }
}

void provider_connection::impl::withdraw_definition() {
    auto variables = std::make_shared<consumer_variable_set>();
    std::scoped_lock const lock{m_mutex};
    if (m_variables) { // not disconnected meanwhile
        mark_all_variables_bad();
        m_fingerprint = 0;
        m_variables.swap(variables);
    }
}

void provider_connection::impl::recv_definition_changed_sub_handler(received_message message) {
    switch (get_state()) {
    case provider_connection_state::connected:
        adopt_definition_event(message);
        return;
    case provider_connection_state::provider_unavailable:
        return; // the definition is requested when the provider returns
    case provider_connection_state::disconnected:
    case provider_connection_state::faulted:
        report(
            diagnostic_severity::error,
            m_link.name,
            {"Received a provider definition event, skipping it due to invalid provider "
             "connection state"});
        return;
    }
}

void provider_connection::impl::adopt_definition_event(received_message const& message) {
    try {
        deserialize_provider_definition(message, true);
    } catch (std::exception const& error) {
        set_fault_state();
        report(diagnostic_severity::error, m_link.name, {error.what()});
        return;
    }
    if (!holds_definition()) {
        report(
            diagnostic_severity::error,
            m_link.name,
            {"Received a provider definition event, but zero fingerprint or zero variable "
             "definitions were received"});
        return;
    }
    try {
        update_all_variables();
    } catch (std::exception const& error) {
        set_fault_state();
        report(diagnostic_severity::error, m_link.name, {error.what()});
        return;
    }
    // Intended: also when the definition was the one that is held.
    auto const callback = get_event_callback();
    if (callback.function != nullptr) {
        callback.function(
            provider_connection_event::definition_updated, m_self, callback.user_data);
    }
}

bool provider_connection::impl::holds_definition() {
    std::scoped_lock const lock{m_mutex};
    return m_fingerprint != 0 && m_variables && !m_variables->map().empty();
}

} // namespace arvenhold::corvel::hub
