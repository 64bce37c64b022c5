// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Definitions of any shape, as verdict, reply and event: decoding returns what was written, or the
// fault for what is missing.

#include "fuzz/support/expected.hpp"
#include "fuzz/support/inputs.hpp"
#include "fuzz/support/target.hpp"
#include "protocol/definition_codec.hpp"
#include <hub/serialization_fault.hpp>

#include <array>

namespace arvenhold::corvel::hub::fuzz {

namespace {

constexpr std::uint8_t data_types = 6;

void check_variable(
    received_variable_definition const& variable, wire::variable_definition_table const& table) {
    // Indexed by the type, the alternative of the value.
    static constexpr std::array<std::size_t, data_types + 1> alternatives{0, 0, 5, 1, 2, 3, 4};
    require(variable.id == table.id.value_or(0), "the id is kept");
    require(variable.path == *table.path, "the path is kept");
    auto const may_write = variable.permissions == variable_permissions::read_write;
    require(may_write == (table.access == std::uint8_t{2}), "only 2 allows writing");
    require(variable.value.index() == alternatives.at(*table.data_type), "the type is kept");
}

std::string expected_fault(wire::variable_definition_table const& table) {
    if (!table.path) {
        return fault_text("variable path nullptr");
    }
    auto const type = table.data_type.value_or(0);
    if (type == 0 || type > data_types) {
        return serialization_fault::in_variable(
                   context.kind, context.name, context.operation, table.id.value_or(0))
            .what();
    }
    return {};
}

void check_variables(
    received_definition& received, wire::provider_definition_table const& definition) {
    require(
        received.fingerprint() == definition.fingerprint.value_or(0), "the fingerprint is kept");
    require(received.size() == definition.variable_definitions->size(), "every variable is there");
    for (std::size_t position = 0; position < received.size(); ++position) {
        auto const& table = (*definition.variable_definitions)[position];
        auto const expected = expected_fault(table);
        try {
            auto const variable = received.deserialize_variable_definition(position, context);
            require(expected.empty(), "what is missing is a fault");
            check_variable(variable, table);
        } catch (serialization_fault const& fault) {
            require(fault.what() == expected, "the fault names what is missing");
        }
    }
}

std::string_view expected_fault(definition_kind kind, definition_input const& input) {
    if (!input.definition) {
        return kind == definition_kind::reply   ? "message data (provider_definition_reply) nullptr"
             : kind == definition_kind::verdict ? "definition data is nullptr"
                                                : "";
    }
    auto const needs_variables = kind != definition_kind::verdict;
    return needs_variables && !input.definition->variable_definitions
             ? "message data (variable_definitions) nullptr"
             : "";
}

void check_verdict(std::string_view message, definition_input const& input) {
    auto const verdict = decode_verdict(message, context);
    require(input.definition.has_value(), "a verdict needs a definition");
    require(
        verdict.fingerprint == input.definition->fingerprint.value_or(0),
        "the fingerprint is kept");
    require(verdict.is_valid == (input.definition->valid == std::uint8_t{1}), "only 1 is valid");
}

void check_definition(
    definition_kind kind, std::string_view message, definition_input const& input) {
    if (kind == definition_kind::verdict) {
        check_verdict(message, input);
        return;
    }
    auto received = kind == definition_kind::reply
                      ? std::optional{decode_definition_reply(message, context)}
                      : decode_definition_event(message, context);
    require(received.has_value() == input.definition.has_value(), "none is a withdrawn one");
    if (received) {
        check_variables(*received, *input.definition);
    }
}

} // namespace

void try_input(std::string_view bytes) {
    auto const input = input_of<definition_input>(bytes);
    auto const kind = static_cast<definition_kind>(input.kind % definition_kinds);
    auto const expected = expected_fault(kind, input);
    placed_bytes const placed{
        kind == definition_kind::reply
            ? wire::read_provider_definition_query_response(input.definition)
            : wire::provider_definition_changed_event(input.definition),
        input.distance};
    try {
        check_definition(kind, placed.view(), input);
        require(expected.empty(), "what is missing is a fault");
    } catch (serialization_fault const& fault) {
        require(fault.what() == fault_text(expected), "the fault names what is missing");
    }
}

} // namespace arvenhold::corvel::hub::fuzz
