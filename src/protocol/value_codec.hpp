// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/decode_context.hpp"
#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

#include <array>
#include <optional>

namespace arvenhold::corvel::hub {

/// The wire's numbers for the alternatives of variable_value, in the order of their indices.
inline constexpr std::array<VariableDataType, std::variant_size_v<variable_value>> data_types{
    VariableDataType::Bool,
    VariableDataType::Double,
    VariableDataType::Int64,
    VariableDataType::String,
    VariableDataType::Timestamp,
    VariableDataType::Duration,
};

/// Returns the wire's number for the type of `value`; NONE if it is valueless.
inline VariableDataType data_type_of(variable_value const& value) {
    return value.valueless_by_exception() ? VariableDataType::NONE : data_types.at(value.index());
}

/// Returns the union tag for `value`; tags and types have the same numbers.
inline VariableValue tag_of(variable_value const& value) {
    return static_cast<VariableValue>(data_type_of(value));
}

/// Returns the value of a consumer's variable before its first update: zero, empty, or the current
/// time for a point in time. Returns nothing for an unknown type.
std::optional<variable_value> initial_value_of(VariableDataType type);

/// Decodes the value of an item. The result is empty if the item has no value or one of an unknown
/// type; the variable then keeps its own.
///
/// @param value  Receives the result. Cheapest if it already holds a value of the same type.
///
/// @throws serialization_fault  A string value without its string.
void decode_value(
    Variable const& item, decode_context const& context, std::optional<variable_value>& value);

} // namespace arvenhold::corvel::hub
