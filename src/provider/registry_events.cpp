// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the registry sends: its verdict on a definition, and its state.

#include "provider/provider_impl.hpp"

#include "errors/operation_names.hpp"
#include "protocol/definition_codec.hpp"
#include "protocol/registry_codec.hpp"
#include "runtime/diagnostics.hpp"
#include <hub/serialization_fault.hpp>

#include <optional>

namespace arvenhold::corvel::hub {

void provider::impl::provider_definition_event_sub_handler(received_message message) {
    std::optional<definition_verdict> verdict;
    try {
        verdict = deserialize_provider_definition_validity(message.bytes());
    } catch (serialization_fault const& fault) {
        report(diagnostic_severity::error, m_identifier, {fault.what()});
    }
    // Both locks, so that the verdict cannot be counted for a session that begins meanwhile.
    std::scoped_lock const validity_lock{m_validity_mutex};
    std::scoped_lock const state_lock{m_state_mutex};
    if (!m_current->session || !m_current->session->has_received(message)) {
        return; // disconnected a moment ago, and perhaps connected again
    }
    m_verdict = verdict.value_or(m_verdict);
    // Intended: also after a message that could not be decoded, with the verdict received before.
    count_verdict();
}

definition_verdict provider::impl::deserialize_provider_definition_validity(
    std::string_view message) const {
    return decode_verdict(message, {kind, m_identifier, operation_name::decode_verdict});
}

void provider::impl::announce_verdict() {
    std::scoped_lock const lock{m_validity_mutex};
    count_verdict();
}

// Wakes every waiter: nothing in a verdict says whose publication it answers.
void provider::impl::count_verdict() {
    ++m_verdicts;
    m_verdict_arrived.notify_all();
}

void provider::impl::registry_state_event_sub_handler(received_message message) {
    if (!m_registered) {
        return;
    }
    bool const ready = deserialize_registry_state(message.bytes());
    message.release(); // not kept for the length of the wait
    if (!ready) {
        return;
    }
    try {
        publish_provider_definition();
    } catch (std::exception const& error) {
        report(
            diagnostic_severity::error,
            m_identifier,
            {"Failed to publish provider definition after registry was ready: ", error.what()});
    }
}

bool provider::impl::deserialize_registry_state(std::string_view message) const {
    return decode_registry_state(
        message, {kind, m_identifier, operation_name::decode_registry_state});
}

} // namespace arvenhold::corvel::hub
