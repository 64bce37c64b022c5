// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/builder.hpp"
#include "protocol/checked_table.hpp"
#include "protocol/decode_context.hpp"
#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

// Definitions on the wire: a provider's announcement, the registry's verdict, a consumer's request
// and the registry's reply to it. No shared state and no locks.

/// Writes the announcement of a definition: any number of variables, then finish().
class definition_writer {
public:
    /// @param builder  An empty builder; used until finished.
    explicit definition_writer(message_builder& builder);

    /// @param value  Only its type is written.
    void add(
        variable_id id,
        std::string const& path,
        variable_value const& value,
        variable_permissions permissions);

    /// Finishes the announcement. Only the registry marks a definition valid.
    void finish(definition_fingerprint fingerprint);

private:
    message_builder& m_builder;
    std::vector<flatbuffers::Offset<VariableDefinition>> m_definitions;
};

/// The registry's verdict on a definition.
struct definition_verdict {
    definition_fingerprint fingerprint = 0;
    bool is_valid = false;
};

/// Decodes the registry's announcement of a definition, as the provider concerned does.
///
/// @throws serialization_fault  Data or definition are missing.
definition_verdict decode_verdict(std::string_view bytes, decode_context const& context);

/// One variable of a received definition, with its initial value. Valid as long as the message.
struct received_variable_definition {
    variable_id id = 0;
    std::string_view path;
    variable_permissions permissions = variable_permissions::read_only;
    variable_value value;
};

/// A received definition, decoded variable by variable. Valid as long as the message.
class received_definition {
public:
    received_definition(
        message_bytes message, definition_fingerprint fingerprint, vector_position variables)
        : m_message{message}
        , m_fingerprint{fingerprint}
        , m_variables{variables} {}

    definition_fingerprint fingerprint() const {
        return m_fingerprint;
    }

    std::size_t size() const {
        return m_variables.size;
    }

    /// Returns the variable at `position`, which is below size().
    ///
    /// @throws serialization_fault  The variable cannot be read, its path is missing, or its type is
    ///                              missing or unknown.
    received_variable_definition deserialize_variable_definition(
        std::size_t position, decode_context const& context);

private:
    using variable_reader = table_reader<
        field<VariableDefinition::VT_PATH, reference>,
        field<VariableDefinition::VT_ID, variable_id>,
        field<VariableDefinition::VT_DATA_TYPE, VariableDataType>,
        field<VariableDefinition::VT_ACCESS, VariableAccess>>;

    message_bytes m_message;
    definition_fingerprint m_fingerprint;
    vector_position m_variables;
    variable_reader m_variable_reader{m_message};
};

/// Decodes the registry's reply to the request for a definition.
///
/// @throws serialization_fault  Data, definition or its list of variables are missing.
received_definition decode_definition_reply(std::string_view bytes, decode_context const& context);

/// Decodes the registry's announcement of a definition, as an attached consumer does. Returns
/// nothing if the definition was withdrawn.
///
/// @throws serialization_fault  Data or the definition's list of variables are missing.
std::optional<received_definition> decode_definition_event(
    std::string_view bytes, decode_context const& context);

/// Writes the request for a definition.
void serialize_provider_definition_request(message_builder& builder);

} // namespace arvenhold::corvel::hub
