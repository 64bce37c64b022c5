// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/consumer_messages.hpp"

#include "protocol/hub_messages_generated.h"

#include <array>
#include <cstring>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace wire {

namespace {

provider_list_table list_of(std::vector<std::string> const& identifiers) {
    provider_list_table list{.items = std::vector<provider_table>{}};
    for (auto const& identifier : identifiers) {
        list.items->push_back({.id = identifier});
    }
    return list;
}

provider_definition_table definition_of(
    std::uint64_t fingerprint, std::vector<variable_definition_table> const& variables) {
    return {.fingerprint = fingerprint, .variable_definitions = variables, .valid = 1};
}

} // namespace

variable_definition_table defined(
    std::uint32_t id, std::string const& path, std::uint8_t type, std::uint8_t access) {
    return {.path = path, .id = id, .data_type = type, .access = access};
}

variable_table item(std::uint32_t id, value_field const& value, std::uint8_t quality) {
    static constexpr std::array codes{
        bool_code, double_code, int64_code, string_code, timestamp_code};
    return {
        .value_type = codes.at(value.index()),
        .value = value_table{value},
        .id = id,
        .quality = quality};
}

variable_table at(time_struct const& when, variable_table item) {
    item.timestamp = when;
    return item;
}

std::string provider_list_reply(std::vector<std::string> const& identifiers) {
    return read_providers_query_response(list_of(identifiers));
}

std::string provider_list_event(std::vector<std::string> const& identifiers) {
    return providers_changed_event(list_of(identifiers));
}

std::string definition_reply(
    std::uint64_t fingerprint, std::vector<variable_definition_table> const& variables) {
    return read_provider_definition_query_response(definition_of(fingerprint, variables));
}

std::string definition_event(
    std::uint64_t fingerprint, std::vector<variable_definition_table> const& variables) {
    return provider_definition_changed_event(definition_of(fingerprint, variables));
}

std::string read_reply(std::uint64_t fingerprint, std::vector<variable_table> const& items) {
    return read_variables_query_response(variable_list_table{
        .fingerprint = fingerprint, .timestamp = time_struct{}, .items = items});
}

std::string change_event(
    std::uint64_t fingerprint, std::vector<variable_table> const& items, time_struct const& when) {
    return variables_changed_event(
        variable_list_table{.fingerprint = fingerprint, .timestamp = when, .items = items});
}

} // namespace wire

namespace {

// A message, copied to where the accessors may read it.
template <class Root>
class verified_message {
public:
    explicit verified_message(std::string_view bytes)
        : m_aligned(bytes.size() / sizeof(std::uint64_t) + 1) {
        std::memcpy(m_aligned.data(), bytes.data(), bytes.size());
        auto const* const start = reinterpret_cast<std::uint8_t const*>(m_aligned.data());
        flatbuffers::Verifier verifier{start, bytes.size()};
        if (!verifier.VerifyBuffer<Root>(nullptr)) {
            throw std::runtime_error{"the bytes are not such a message"};
        }
    }

    Root const& root() const {
        return *flatbuffers::GetRoot<Root>(m_aligned.data());
    }

private:
    std::vector<std::uint64_t> m_aligned;
};

template <class Part>
Part const& present(Part const* part) {
    if (part == nullptr) {
        throw std::runtime_error{"a part of the message is missing"};
    }
    return *part;
}

std::chrono::nanoseconds span_of(Timestamp const* wire) {
    auto const& time = present(wire);
    return std::chrono::seconds{time.seconds()} + std::chrono::nanoseconds{time.nanos()};
}

variable_value value_of(Variable const& item) {
    switch (item.value_type()) {
    case VariableValue::BoolValue:
        return present(item.value_as_BoolValue()).value();
    case VariableValue::DurationValue:
        return span_of(present(item.value_as_DurationValue()).value());
    case VariableValue::DoubleValue:
        return present(item.value_as_DoubleValue()).value();
    case VariableValue::Int64Value:
        return present(item.value_as_Int64Value()).value();
    case VariableValue::StringValue:
        return present(present(item.value_as_StringValue()).value()).str();
    case VariableValue::TimestampValue:
        return timestamp{span_of(present(item.value_as_TimestampValue()).value())};
    case VariableValue::NONE:
        break;
    }
    throw std::runtime_error{"a variable has no value"};
}

} // namespace

sent_command write_command_in(std::string_view bytes) {
    verified_message<WriteVariablesCommand> const message{bytes};
    auto const& list = present(message.root().variables());
    auto const& time = present(list.timestamp());
    sent_command command{list.fingerprint(), time.seconds(), time.nanos(), {}};
    for (auto const* const item : present(list.items())) {
        command.items.push_back({item->id(), value_of(*item)});
    }
    return command;
}

std::vector<variable_id> requested_ids_in(std::string_view bytes) {
    verified_message<ReadVariablesQuery> const message{bytes};
    auto const& ids = present(message.root().ids());
    return {ids.begin(), ids.end()};
}

} // namespace arvenhold::corvel::hub
