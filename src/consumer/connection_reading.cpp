// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/provider_connection_impl.hpp"
#include "errors/operation_names.hpp"
#include <hub/provider_definition_mismatch.hpp>
#include <hub/variable_index_invalid.hpp>

namespace arvenhold::corvel::hub {

consumer_variable::impl& require_variable(
    consumer_variable_set const& variables, variable_id id, std::string_view function) {
    auto* const found = variables.find(id);
    if (found == nullptr) {
        throw variable_index_invalid{id, function};
    }
    return *found;
}

void provider_connection::impl::read_variables(
    definition_fingerprint fingerprint, std::vector<variable_id> const& ids) {
    shared_variables variables;
    std::uint64_t latest_event = 0;
    {
        std::scoped_lock const lock{m_mutex};
        require_connected("cannot read variables from provider: provider connection is not in "
                          "connected state");
        require_held(fingerprint);
        variables = m_variables; // our copy keeps this map whole while we work unlocked
        latest_event = m_latest_event;
    }
    message_builder request{initial_builder_size + ids.size() * sizeof(variable_id)};
    serialize_read_request(request, ids);
    auto const reply =
        request_or_fault(operation_name::read_variables, m_read_subject, finished_bytes(request));
    try {
        apply_read_reply(reply, *variables, fingerprint, latest_event);
    } catch (provider_definition_mismatch const&) {
        // Intended: no fault; an event announces the provider's new definition.
        throw;
    } catch (...) {
        set_fault_state();
        throw;
    }
    keep_bad_unless_connected(*variables);
}

void provider_connection::impl::apply_read_reply(
    received_message const& reply,
    consumer_variable_set const& variables,
    definition_fingerprint fingerprint,
    std::uint64_t latest_event_at_request) {
    auto const context = context_for(operation_name::decode_read_reply);
    auto received = decode_read_reply(reply.bytes(), context);
    if (received.fingerprint() != fingerprint) {
        throw provider_definition_mismatch{
            m_link.name, m_provider_id, fingerprint, received.fingerprint()};
    }
    sliding_lock lock;
    for (std::size_t position = 0; position < received.size(); ++position) {
        auto const item = received.item(position);
        require_variable(variables, item.id, "read_variables()")
            .apply_reply(lock, item.quality, item.value, item.when, latest_event_at_request);
    }
}

// A fault or a loss that came in between has marked every variable bad, perhaps before its value was
// applied.
void provider_connection::impl::keep_bad_unless_connected(consumer_variable_set const& variables) {
    std::scoped_lock const lock{m_mutex};
    if (m_state == provider_connection_state::faulted
        || m_state == provider_connection_state::provider_unavailable) {
        mark_bad(variables);
    }
}

void provider_connection::impl::update_all_variables() {
    auto const [variables, fingerprint] = get_current_variables();
    std::vector<variable_id> ids;
    if (variables) {
        ids.reserve(variables->size());
        for (auto const& [id, variable] : *variables) {
            ids.push_back(id);
        }
    }
    read_variables(fingerprint, ids);
}

current_variables provider_connection::impl::get_current_variables() {
    std::scoped_lock const lock{m_mutex};
    return {consumer_variable_set::map_of(m_variables), m_fingerprint};
}

std::vector<variable_id> provider_connection::impl::get_updated_variables_since(
    definition_fingerprint fingerprint, timestamp since) {
    shared_variables variables;
    {
        std::scoped_lock const lock{m_mutex};
        require_held(fingerprint);
        variables = m_variables;
    }
    if (!variables) {
        return {};
    }
    std::vector<variable_id> updated;
    for (auto const& [id, variable] : variables->map()) {
        // The application can change the map, and may have put in null.
        if (variable && variable->get_last_publish_timestamp() >= since) {
            updated.push_back(id);
        }
    }
    return updated;
}

} // namespace arvenhold::corvel::hub
