// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "model/value_view.hpp"
#include "protocol/checked_table.hpp"
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

/// The only field of a value's table, whatever its type.
inline constexpr flatbuffers::voffset_t value_field = BoolValue::VT_VALUE;

template <class Content>
using value_table_reader = table_reader<field<value_field, Content>>;

/// Decodes the values of a message's items.
class value_reader {
public:
    explicit value_reader(message_bytes message)
        : m_message{message} {}

    /// Returns the value in the table at a position of the message. Returns nothing if there is no
    /// such table or its type is unknown; the variable then keeps its own value.
    ///
    /// @throws serialization_fault  A string value without its string.
    std::optional<value_view> find(
        VariableValue tag, std::size_t position, decode_context const& context);

private:
    message_bytes m_message;
    value_table_reader<std::uint8_t> m_bool{m_message};
    value_table_reader<double> m_double{m_message};
    value_table_reader<std::int64_t> m_int64{m_message};
    value_table_reader<reference> m_string{m_message};
    value_table_reader<Timestamp> m_time{m_message}; // a duration or a point in time
};

} // namespace arvenhold::corvel::hub
