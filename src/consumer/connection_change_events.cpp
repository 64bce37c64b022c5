// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "errors/operation_names.hpp"
#include "runtime/diagnostics.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

void provider_connection::impl::recv_variables_changed_sub_handler(received_message message) {
    auto const state = get_state();
    if (state == provider_connection_state::disconnected
        || state == provider_connection_state::faulted) {
        report(
            diagnostic_severity::error,
            m_link.name,
            {"Received a variables changed event, skipping it due to invalid provider connection "
             "state"});
        return;
    }
    // Intended: applied also while the provider is missing, unlike a definition.
    try {
        deserialize_variable_update(message);
    } catch (std::exception const& error) {
        set_fault_state();
        report(diagnostic_severity::error, m_link.name, {error.what()});
    }
}

void provider_connection::impl::deserialize_variable_update(received_message const& message) {
    shared_variables variables;
    definition_fingerprint fingerprint = 0;
    std::uint64_t event_number = 0;
    bool is_callback_set = false;
    {
        std::scoped_lock const lock{m_mutex};
        variables = m_variables; // our copy keeps this map whole while we work unlocked
        fingerprint = m_fingerprint;
        event_number = ++m_latest_event;
        is_callback_set = m_change_callback.function != nullptr;
    }
    auto const context = context_for(operation_name::decode_variable_update);
    auto received = decode_change_event(message.bytes(), fingerprint, context);
    if (!received || !variables) {
        return; // Intended: an event of another definition is dropped silently.
    }
    std::vector<variable_id> changed;
    apply_change_event(*received, *variables, event_number, is_callback_set ? &changed : nullptr);
    auto const callback = finish_change_event(*variables);
    if (is_callback_set && callback.function != nullptr) {
        callback.function(fingerprint, std::move(changed), m_self, callback.user_data);
    }
}

// Appends the ids of all items to `changed`, if it is not null.
void provider_connection::impl::apply_change_event(
    received_variables& received,
    consumer_variable_set const& variables,
    std::uint64_t event_number,
    std::vector<variable_id>* changed) {
    if (changed != nullptr) {
        changed->reserve(received.size());
    }
    sliding_lock lock;
    for (std::size_t position = 0; position < received.size(); ++position) {
        auto const item = received.item(position);
        require_variable(variables, item.id, "deserialize_variable_update()")
            .apply_event(lock, item.quality, item.value, item.when, event_number);
        if (changed != nullptr) {
            changed->push_back(item.id);
        }
    }
}

// A fault that came in between has marked every variable bad, perhaps before its value was applied.
// Returns the callback that the application wants now.
provider_connection::impl::change_callback provider_connection::impl::finish_change_event(
    consumer_variable_set const& variables) {
    std::scoped_lock const lock{m_mutex};
    if (m_state == provider_connection_state::faulted) {
        mark_bad(variables);
    }
    return m_change_callback;
}

} // namespace arvenhold::corvel::hub
