// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/builder.hpp"
#include "protocol/hub_messages_generated.h"
#include "protocol/message_reader.hpp"
#include <hub/common.hpp>

#include <optional>

namespace arvenhold::corvel::hub {

/// A value written into a builder, to be referred to by the table that holds it.
struct written_value {
    VariableValue tag = VariableValue::NONE;
    flatbuffers::Offset<void> table;
};

/// Returns the wire's number for the type of `value`; NONE for a valueless one.
VariableDataType data_type_of(variable_value const& value);

/// Returns what a consumer's variable of the given type holds before its first update: zero, empty,
/// or for a time point the current time; nothing for an unknown type.
std::optional<variable_value> initial_value_of(VariableDataType type);

/// Writes the table of a value; of a valueless one nothing but the tag NONE.
written_value write_value(message_builder& builder, variable_value const& value);

/// Returns the value of an item; nothing when it has none or one of an unknown type, which both
/// mean that the variable keeps its own.
///
/// @throws serialization_fault  A text value without its text.
std::optional<variable_value> read_value(Variable const& item, message_reader const& reader);

} // namespace arvenhold::corvel::hub
