// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/value_codec.hpp"

#include "protocol/time_codec.hpp"

namespace arvenhold::corvel::hub {

namespace {

variable_value text_of(StringValue const& table, message_reader const& reader) {
    if (table.value() == nullptr) {
        reader.report_missing("string value nullptr");
    }
    return table.value()->str();
}

variable_value duration_of(DurationValue const& table) {
    return table.value() != nullptr ? duration_from_wire(*table.value())
                                    : std::chrono::nanoseconds{};
}

variable_value point_of(TimestampValue const& table) {
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

std::optional<variable_value> read_value(Variable const& item, message_reader const& reader) {
    if (item.value() == nullptr) {
        return std::nullopt;
    }
    switch (item.value_type()) {
    case VariableValue::BoolValue:
        return item.value_as_BoolValue()->value();
    case VariableValue::DurationValue:
        return duration_of(*item.value_as_DurationValue());
    case VariableValue::DoubleValue:
        return item.value_as_DoubleValue()->value();
    case VariableValue::Int64Value:
        return item.value_as_Int64Value()->value();
    case VariableValue::StringValue:
        return text_of(*item.value_as_StringValue(), reader);
    case VariableValue::TimestampValue:
        return point_of(*item.value_as_TimestampValue());
    case VariableValue::NONE:
        break;
    }
    return std::nullopt;
}

} // namespace arvenhold::corvel::hub
