// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/value_codec.hpp"

#include "protocol/time_codec.hpp"

namespace arvenhold::corvel::hub {

namespace {

std::string_view string_of(
    message_bytes message, std::size_t position, decode_context const& context) {
    auto const characters = message.find_string(position);
    if (!characters) {
        context.report_missing("string value nullptr");
    }
    return *characters;
}

// Decodes the only field of a value's table.
template <class Content, class Decode>
std::optional<value_view> decoded(
    value_table_reader<Content>& reader, std::size_t position, Decode const& decode) {
    auto const table = reader.find(position);
    if (!table) {
        return std::nullopt;
    }
    return decode(*table);
}

} // namespace

std::optional<variable_value> initial_value_of(VariableDataType type) {
    switch (type) {
    case VariableDataType::Bool:
        return false;
    case VariableDataType::Duration:
        return std::chrono::nanoseconds{};
    case VariableDataType::Double:
        return 0.0;
    case VariableDataType::Int64:
        return std::int64_t{};
    case VariableDataType::String:
        return std::string{};
    case VariableDataType::Timestamp:
        // Intended: now, where every other type begins with zero.
        return std::chrono::system_clock::now();
    case VariableDataType::NONE:
        break;
    }
    return std::nullopt;
}

std::optional<value_view> value_reader::find(
    VariableValue tag, std::size_t position, decode_context const& context) {
    auto const content = [](auto const& table) {
        return table.template get<value_field>();
    };
    switch (tag) {
    case VariableValue::BoolValue:
        return decoded(
            m_bool, position, [&](auto const& table) { return value_view{content(table) != 0}; });
    case VariableValue::DurationValue:
        return decoded(m_time, position, [&](auto const& table) {
            return value_view{duration_from_wire(content(table))};
        });
    case VariableValue::DoubleValue:
        return decoded(
            m_double, position, [&](auto const& table) { return value_view{content(table)}; });
    case VariableValue::Int64Value:
        return decoded(
            m_int64, position, [&](auto const& table) { return value_view{content(table)}; });
    case VariableValue::StringValue:
        return decoded(m_string, position, [&](auto const& table) {
            return value_view{string_of(m_message, table.template follow<value_field>(), context)};
        });
    case VariableValue::TimestampValue:
        return decoded(m_time, position, [&](auto const& table) {
            return value_view{point_from_wire(content(table))};
        });
    case VariableValue::NONE:
        break;
    }
    return std::nullopt;
}

} // namespace arvenhold::corvel::hub
