// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/registered_provider.hpp"

#include <hub/diagnostics.hpp>
#include <hub/fingerprint.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition.hpp>
#include <hub/provider_variable.hpp>

#include <mutex>
#include <utility>

namespace arvenhold::corvel::hub {

registered_provider::registered_provider(std::string const& identifier, listeners called)
    : m_identifier{identifier}
    , m_listeners{std::move(called)}
    , m_provider{identifier} {}

void registered_provider::connect(
    hub_access const& access, std::vector<variable_state> states, std::uint32_t version) {
    register_variables(std::move(states), version);
    m_provider.set_variables_written_callback(&receive_command, this);
    auto options = access.options;
    options.set_link_callback(&receive_link_event, this);
    m_provider.connect(
        access.server_url, access.token_endpoint, access.client_id, access.client_secret, options);
}

void registered_provider::register_variables(
    std::vector<variable_state> states, std::uint32_t version) {
    provider_definition definition{make_fingerprint(version)};
    for (auto const& state : states) {
        definition.add_variable_definition(state.path, state.value, state.permissions);
    }
    definition.finalize();
    m_list = m_provider.register_provider_definition(definition);
    m_variables.reserve(states.size());
    m_qualities.reserve(states.size());
    {
        std::scoped_lock const lock{*m_list};
        auto state = states.begin();
        for (auto const& [id, variable] : m_list->get_variables()) {
            variable->set_value(std::move(state->value), state->when);
            variable->set_quality(state->quality, state->when);
            m_variables.push_back(variable.get());
            m_qualities.push_back(state->quality);
            ++state;
        }
    }
    // The event that follows the definition would give all of them the time of the connect.
    m_list->mark_no_variables_pending();
}

void registered_provider::abandon() {
    if (m_provider.is_connected()) {
        m_provider.disconnect();
    }
}

void registered_provider::disconnect() {
    m_provider.disconnect();
}

std::optional<failure> registered_provider::find_failure() {
    if (!m_provider.is_connected()) {
        return failure{session_reason::sending_failed, "a message could not be sent"};
    }
    if (m_provider.is_definition_accepted()) {
        return std::nullopt;
    }
    try {
        m_provider.get_fingerprint();
    } catch (operational_state_invalid const&) {
        return failure{
            session_reason::definition_rejected,
            "the registry has restarted and rejects the variables"};
    }
    return failure{
        session_reason::registry_silent, "the registry has restarted and gave no verdict in time"};
}

void registered_provider::publish(change_block::event const& event) {
    record(event);
    m_provider.publish(event.when);
}

void registered_provider::record(change_block::event const& event) {
    std::scoped_lock const lock{*m_list};
    for (auto const& change : event.changes) {
        auto& variable = *m_variables[change.position];
        variable.set_value(change.value.get(), event.when);
        auto const quality = static_cast<variable_quality>(change.quality);
        if (std::exchange(m_qualities[change.position], quality) != quality) {
            variable.set_quality(quality, event.when);
        }
    }
}

void registered_provider::receive_command(
    definition_fingerprint /*fingerprint*/,
    variable_write_command const& command,
    provider& /*receiver*/,
    void* user_data) {
    static_cast<registered_provider*>(user_data)->receive(command);
}

// Ids are consecutive, in the order of the positions.
void registered_provider::receive(variable_write_command const& command) {
    auto const first = m_variables.empty() ? 0 : m_variables.front()->get_id();
    std::vector<write> writes;
    for (auto const& [id, value] : command.entries) {
        auto const position = id - first;
        if (position < m_variables.size()) {
            writes.emplace_back(position, value);
        } else {
            report_diagnostic(
                diagnostic_severity::warning,
                m_identifier,
                m_identifier + ": a consumer writes to variable " + std::to_string(id)
                    + ", which does not exist");
        }
    }
    m_listeners.written(std::move(writes));
}

void registered_provider::receive_link_event(
    link_event event, std::uint64_t /*dropped_messages*/, void* user_data) {
    if (event == link_event::lost || event == link_event::closed) {
        static_cast<registered_provider*>(user_data)->m_listeners.link_lost();
    }
}

} // namespace arvenhold::corvel::hub
