// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::wire {

// Messages of any shape, including those that no peer should send. They are written slot by slot
// with the numbers of docs/messages.md and without the schema, as an independent peer does it. A
// member without a value is an absent field. Every number is written, even 0. A table whose last
// fields are absent has a vtable that ends before them.

struct time_struct {
    std::int64_t seconds = 0;
    std::int32_t nanos = 0;
};

/// The only field of a table of a value, by the type that is written.
using value_field = std::variant<bool, double, std::int64_t, std::string, time_struct>;

/// The table of a value; which of the six it is depends on the tag beside it.
struct value_table {
    std::optional<value_field> value = std::nullopt;
};

struct variable_table {
    std::optional<std::uint8_t> value_type = std::nullopt;
    std::optional<value_table> value = std::nullopt;
    std::optional<std::uint32_t> id = std::nullopt;
    std::optional<time_struct> timestamp = std::nullopt;
    std::optional<std::uint8_t> quality = std::nullopt;
};

struct variable_list_table {
    std::optional<std::uint64_t> fingerprint = std::nullopt;
    std::optional<time_struct> timestamp = std::nullopt;
    std::optional<std::vector<variable_table>> items = std::nullopt;
};

struct variable_definition_table {
    std::optional<std::string> path = std::nullopt;
    std::optional<std::uint32_t> id = std::nullopt;
    std::optional<std::uint8_t> data_type = std::nullopt;
    std::optional<std::uint8_t> access = std::nullopt;
};

struct provider_definition_table {
    std::optional<std::uint64_t> fingerprint = std::nullopt;
    std::optional<std::vector<variable_definition_table>> variable_definitions = std::nullopt;
    std::optional<std::uint8_t> valid = std::nullopt;
};

struct provider_table {
    std::optional<std::string> id = std::nullopt;
};

struct provider_list_table {
    std::optional<std::vector<provider_table>> items = std::nullopt;
};

// One function for every message with fields. Nothing as argument: a root table without its field.

std::string read_variables_query(std::optional<std::vector<std::uint32_t>> const& ids);
std::string read_variables_query_response(std::optional<variable_list_table> const& variables);
std::string write_variables_command(std::optional<variable_list_table> const& variables);
std::string variables_changed_event(std::optional<variable_list_table> const& variables);
std::string read_provider_definition_query_response(
    std::optional<provider_definition_table> const& definition);
std::string provider_definition_changed_event(
    std::optional<provider_definition_table> const& definition);
std::string read_providers_query_response(std::optional<provider_list_table> const& providers);
std::string providers_changed_event(std::optional<provider_list_table> const& providers);
std::string registry_state_changed_event(std::optional<std::uint8_t> state);

} // namespace arvenhold::corvel::hub::wire
