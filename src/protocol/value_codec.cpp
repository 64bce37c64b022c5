// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/value_codec.hpp"

#include "protocol/time_codec.hpp"

namespace arvenhold::corvel::hub {

namespace {

// Casts the value's table to the type that the item's tag indicates.
template <class Table>
Table const& as(void const* table) {
    return *static_cast<Table const*>(table);
}

std::string string_of(StringValue const& table, decode_context const& context) {
    if (table.value() == nullptr) {
        context.report_missing("string value nullptr");
    }
    return table.value()->str();
}

std::chrono::nanoseconds duration_of(DurationValue const& table) {
    return table.value() != nullptr ? duration_from_wire(*table.value())
                                    : std::chrono::nanoseconds{};
}

timestamp point_of(TimestampValue const& table) {
    return table.value() != nullptr ? point_from_wire(*table.value()) : timestamp{};
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

void decode_value(
    Variable const& item, decode_context const& context, std::optional<variable_value>& value) {
    auto const* const table = item.value();
    if (table == nullptr) {
        value.reset();
        return;
    }
    auto& content = value ? *value : value.emplace();
    switch (item.value_type()) {
    case VariableValue::BoolValue:
        content = as<BoolValue>(table).value();
        return;
    case VariableValue::DurationValue:
        content = duration_of(as<DurationValue>(table));
        return;
    case VariableValue::DoubleValue:
        content = as<DoubleValue>(table).value();
        return;
    case VariableValue::Int64Value:
        content = as<Int64Value>(table).value();
        return;
    case VariableValue::StringValue:
        content = string_of(as<StringValue>(table), context);
        return;
    case VariableValue::TimestampValue:
        content = point_of(as<TimestampValue>(table));
        return;
    case VariableValue::NONE:
        break;
    }
    value.reset();
}

} // namespace arvenhold::corvel::hub
