// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/definition_codec.hpp"

#include "protocol/value_codec.hpp"

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

VariableAccess to_wire(variable_permissions permissions) {
    switch (permissions) {
    case variable_permissions::read_write:
        return VariableAccess::ReadWrite;
    case variable_permissions::read_only:
        return VariableAccess::ReadOnly;
    }
    return VariableAccess::Unspecified;
}

variable_permissions permissions_from_wire(VariableAccess access) {
    return access == VariableAccess::ReadWrite ? variable_permissions::read_write
                                               : variable_permissions::read_only;
}

// Returns the position of the definition in the root table, whose only field it is.
template <flatbuffers::voffset_t definition_field>
std::size_t definition_of(
    message_bytes message, decode_context const& context, std::string_view no_data) {
    table_reader<field<definition_field, reference>> reader{message};
    auto const root = reader.find_root();
    if (!root) {
        context.report_missing(no_data);
    }
    return root->template follow<definition_field>();
}

// Returns nothing if the definition is missing.
std::optional<received_definition> find_definition(
    message_bytes message, std::size_t position, decode_context const& context) {
    table_reader<
        field<ProviderDefinition::VT_FINGERPRINT, definition_fingerprint>,
        field<ProviderDefinition::VT_VARIABLE_DEFINITIONS, reference>>
        reader{message};
    auto const definition = reader.find(position);
    if (!definition) {
        return std::nullopt;
    }
    auto const variables = message.find_vector(
        definition->follow<ProviderDefinition::VT_VARIABLE_DEFINITIONS>(), sizeof(reference));
    if (!variables) {
        context.report_missing("message data (variable_definitions) nullptr");
    }
    return received_definition{
        message, definition->get<ProviderDefinition::VT_FINGERPRINT>(), *variables};
}

} // namespace

definition_writer::definition_writer(message_builder& builder)
    : m_builder{builder} {
    // Zero is a legal id and fingerprint, and peers may not know the defaults of absent fields.
    m_builder.ForceDefaults(true);
}

void definition_writer::add(
    variable_id id,
    std::string const& path,
    variable_value const& value,
    variable_permissions permissions) {
    m_definitions.push_back(CreateVariableDefinition(
        m_builder, m_builder.CreateString(path), id, data_type_of(value), to_wire(permissions)));
}

void definition_writer::finish(definition_fingerprint fingerprint) {
    auto const variables = m_builder.CreateVector(m_definitions);
    // Field by field, because CreateProviderDefinition() would write `valid`, which is the
    // registry's field, as 0.
    ProviderDefinitionBuilder definition{m_builder};
    definition.add_fingerprint(fingerprint);
    definition.add_variable_definitions(variables);
    m_builder.Finish(CreateProviderDefinitionChangedEvent(m_builder, definition.Finish()));
}

definition_verdict decode_verdict(std::string_view bytes, decode_context const& context) {
    message_bytes const message{bytes};
    auto const position = definition_of<ProviderDefinitionChangedEvent::VT_PROVIDER_DEFINITION>(
        message, context, "definition changed event data is nullptr");
    table_reader<
        field<ProviderDefinition::VT_FINGERPRINT, definition_fingerprint>,
        field<ProviderDefinition::VT_VALID, std::uint8_t>>
        reader{message};
    auto const definition = reader.find(position);
    if (!definition) {
        context.report_missing("definition data is nullptr");
    }
    return {
        definition->get<ProviderDefinition::VT_FINGERPRINT>(),
        definition->get<ProviderDefinition::VT_VALID>() == 1};
}

received_variable_definition received_definition::deserialize_variable_definition(
    std::size_t position, decode_context const& context) {
    auto const definition = m_variable_reader.find_element(m_variables, position);
    auto const path = definition
                        ? m_message.find_string(definition->follow<VariableDefinition::VT_PATH>())
                        : std::nullopt;
    if (!path) {
        context.report_missing("variable path nullptr");
    }
    auto const id = definition->get<VariableDefinition::VT_ID>();
    auto value = initial_value_of(definition->get<VariableDefinition::VT_DATA_TYPE>());
    if (!value) {
        context.report_variable(id);
    }
    return {
        id,
        *path,
        permissions_from_wire(definition->get<VariableDefinition::VT_ACCESS>()),
        *std::move(value)};
}

received_definition decode_definition_reply(std::string_view bytes, decode_context const& context) {
    message_bytes const message{bytes};
    auto const position =
        definition_of<ReadProviderDefinitionQueryResponse::VT_PROVIDER_DEFINITION>(
            message, context, no_message_data);
    auto const definition = find_definition(message, position, context);
    if (!definition) {
        context.report_missing("message data (provider_definition_reply) nullptr");
    }
    return *definition;
}

std::optional<received_definition> decode_definition_event(
    std::string_view bytes, decode_context const& context) {
    message_bytes const message{bytes};
    auto const position = definition_of<ProviderDefinitionChangedEvent::VT_PROVIDER_DEFINITION>(
        message, context, no_message_data);
    return find_definition(message, position, context);
}

void serialize_provider_definition_request(message_builder& builder) {
    builder.Finish(CreateReadProviderDefinitionQuery(builder));
}

} // namespace arvenhold::corvel::hub
