// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/decode_context.hpp"
#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

#include <array>
#include <optional>

namespace arvenhold::corvel::hub {

/// The wire's numbers for the alternatives of variable_value.
inline constexpr std::array<VariableDataType, std::variant_size_v<variable_value>> data_types{
    VariableDataType::Bool,
    VariableDataType::Double,
    VariableDataType::Int64,
    VariableDataType::String,
    VariableDataType::Timestamp,
    VariableDataType::Duration,
};

/// Returns the wire's number for the type of `value`; NONE for a valueless one.
inline VariableDataType data_type_of(variable_value const& value) {
    return value.valueless_by_exception() ? VariableDataType::NONE : data_types.at(value.index());
}

/// Returns the tag that goes with the table of `value`, which has the same number.
inline VariableValue tag_of(variable_value const& value) {
    return static_cast<VariableValue>(data_type_of(value));
}

/// Returns what a consumer's variable of the given type holds before its first update: zero, empty,
/// or for a time point the current time; nothing for an unknown type.
std::optional<variable_value> initial_value_of(VariableDataType type);

/// Reads the value of an item; nothing when it has none or one of an unknown type, which both mean
/// that the variable keeps its own.
///
/// @param value  Replaced. One that holds a value of the same type already costs least.
///
/// @throws serialization_fault  A text value without its text.
void decode_value(
    Variable const& item, decode_context const& context, std::optional<variable_value>& value);

} // namespace arvenhold::corvel::hub
