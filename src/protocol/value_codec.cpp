// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/value_codec.hpp"

#include "protocol/time_codec.hpp"

namespace arvenhold::corvel::hub {

namespace {

std::string text_of(StringValue const& table, message_reader const& reader) {
    if (table.value() == nullptr) {
        reader.report_missing("string value nullptr");
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

void read_value(
    Variable const& item, message_reader const& reader, std::optional<variable_value>& value) {
    if (item.value() == nullptr) {
        value.reset();
        return;
    }
    auto& content = value ? *value : value.emplace();
    switch (item.value_type()) {
    case VariableValue::BoolValue:
        content = item.value_as_BoolValue()->value();
        return;
    case VariableValue::DurationValue:
        content = duration_of(*item.value_as_DurationValue());
        return;
    case VariableValue::DoubleValue:
        content = item.value_as_DoubleValue()->value();
        return;
    case VariableValue::Int64Value:
        content = item.value_as_Int64Value()->value();
        return;
    case VariableValue::StringValue:
        content = text_of(*item.value_as_StringValue(), reader);
        return;
    case VariableValue::TimestampValue:
        content = point_of(*item.value_as_TimestampValue());
        return;
    case VariableValue::NONE:
        break;
    }
    value.reset();
}

} // namespace arvenhold::corvel::hub
