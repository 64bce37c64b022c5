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

received_definition with_variables(
    ProviderDefinition const& definition, decode_context const& context) {
    if (definition.variable_definitions() == nullptr) {
        context.report_missing("message data (variable_definitions) nullptr");
    }
    return received_definition{definition};
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

definition_verdict decode_verdict(payload const& message, decode_context const& context) {
    auto const* const event = message.root<ProviderDefinitionChangedEvent>();
    if (event == nullptr) {
        context.report_missing("definition changed event data is nullptr");
    }
    auto const* const definition = event->provider_definition();
    if (definition == nullptr) {
        context.report_missing("definition data is nullptr");
    }
    return {definition->fingerprint(), definition->valid() == 1};
}

received_definition::received_definition(ProviderDefinition const& definition)
    : m_definition{&definition}
    , m_variables{definition.variable_definitions()} {}

definition_fingerprint received_definition::fingerprint() const {
    return m_definition->fingerprint();
}

std::size_t received_definition::size() const {
    return m_variables->size();
}

received_variable_definition received_definition::deserialize_variable_definition(
    std::size_t position, decode_context const& context) const {
    auto const& definition = *m_variables->Get(static_cast<flatbuffers::uoffset_t>(position));
    auto const* const path = definition.path();
    if (path == nullptr) {
        context.report_missing("variable path nullptr");
    }
    auto value = initial_value_of(definition.data_type());
    if (!value) {
        context.report_variable(definition.id());
    }
    return {
        definition.id(),
        path->string_view(),
        permissions_from_wire(definition.access()),
        *std::move(value)};
}

received_definition decode_definition_reply(payload const& message, decode_context const& context) {
    auto const* const reply = message.root<ReadProviderDefinitionQueryResponse>();
    if (reply == nullptr) {
        context.report_missing(no_message_data);
    }
    if (reply->provider_definition() == nullptr) {
        context.report_missing("message data (provider_definition_reply) nullptr");
    }
    return with_variables(*reply->provider_definition(), context);
}

std::optional<received_definition> decode_definition_event(
    payload const& message, decode_context const& context) {
    auto const* const event = message.root<ProviderDefinitionChangedEvent>();
    if (event == nullptr) {
        context.report_missing(no_message_data);
    }
    if (event->provider_definition() == nullptr) {
        return std::nullopt;
    }
    return with_variables(*event->provider_definition(), context);
}

void serialize_provider_definition_request(message_builder& builder) {
    builder.Finish(CreateReadProviderDefinitionQuery(builder));
}

} // namespace arvenhold::corvel::hub
