// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Passes consumers' write commands to the application.

#include "provider/provider_impl.hpp"

#include "errors/operation_names.hpp"
#include "protocol/variables_codec.hpp"
#include "runtime/diagnostics.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

void provider::impl::variable_write_command_sub_handler(received_message message) {
    auto const current = get_snapshot();
    if (!current->list) {
        // Intended: the missing "to" is part of the text that operators search for.
        report(
            diagnostic_severity::error,
            m_identifier,
            {"Provider ",
             m_identifier,
             ": failed process write command: variable list unavailable"});
        return;
    }
    auto const command = deserialize_write_command(message.bytes(), current->fingerprint);
    if (command) {
        notify_application(current->fingerprint, *command);
    }
}

std::optional<variable_write_command> provider::impl::deserialize_write_command(
    std::string_view message, definition_fingerprint expected_fingerprint) const {
    decode_context const context{kind, m_identifier, operation_name::decode_write_command};
    auto received = decode_write_command(message, context);
    if (received.fingerprint() != expected_fingerprint) {
        report(
            diagnostic_severity::error,
            m_identifier,
            {"Provider ",
             m_identifier,
             ": peer sent a write variables command with outdated fingerprint. Expected ",
             std::to_string(expected_fingerprint),
             ", got ",
             std::to_string(received.fingerprint()),
             " instead from peer. Ignoring."});
        return std::nullopt;
    }
    variable_write_command command;
    command.entries.reserve(received.size());
    for (std::size_t position = 0; position < received.size(); ++position) {
        auto const item = received.item(position);
        if (item.value) {
            command.entries.emplace_back(item.id, owned(*item.value));
        }
    }
    return command;
}

void provider::impl::notify_application(
    definition_fingerprint fingerprint, variable_write_command const& command) {
    write_callback callback;
    {
        std::scoped_lock const lock{m_state_mutex};
        callback = m_write_callback;
    }
    if (callback.function != nullptr) {
        // Called without the lock: the application may use this provider from its callback, and
        // destroy it.
        callback.function(fingerprint, command, m_self, callback.user_data);
    }
}

} // namespace arvenhold::corvel::hub
