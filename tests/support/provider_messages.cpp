// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/provider_messages.hpp"

#include "protocol/hub_messages_generated.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;

// A message, copied to where the accessors may read it.
template <class Root>
class verified_message {
public:
    explicit verified_message(std::string_view bytes)
        : m_aligned((bytes.size() + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t)) {
        if (!bytes.empty()) {
            std::memcpy(m_aligned.data(), bytes.data(), bytes.size());
        }
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

sent_time time_of(Timestamp const& wire) {
    return {wire.seconds(), wire.nanos()};
}

std::chrono::nanoseconds span_of(Timestamp const& wire) {
    return std::chrono::nanoseconds{wire.seconds() * nanoseconds_per_second + wire.nanos()};
}

variable_value value_of(Variable const& item) {
    switch (item.value_type()) {
    case VariableValue::BoolValue:
        return present(item.value_as_BoolValue()).value();
    case VariableValue::DurationValue:
        return span_of(present(present(item.value_as_DurationValue()).value()));
    case VariableValue::DoubleValue:
        return present(item.value_as_DoubleValue()).value();
    case VariableValue::Int64Value:
        return present(item.value_as_Int64Value()).value();
    case VariableValue::StringValue:
        return present(present(item.value_as_StringValue()).value()).str();
    case VariableValue::TimestampValue:
        return timestamp{span_of(present(present(item.value_as_TimestampValue()).value()))};
    case VariableValue::NONE:
        break;
    }
    throw std::runtime_error{"a variable has no value"};
}

sent_variables variables_of(VariableList const& list) {
    sent_variables variables{list.fingerprint(), time_of(present(list.timestamp())), {}};
    for (auto const* const item : present(list.items())) {
        variables.items.push_back(
            {item->id(), value_of(*item), static_cast<int>(item->quality()), std::nullopt});
        if (item->timestamp() != nullptr) {
            variables.items.back().when = time_of(*item->timestamp());
        }
    }
    return variables;
}

} // namespace

std::vector<variable_id> sent_variables::ids() const {
    std::vector<variable_id> found;
    std::transform(items.begin(), items.end(), std::back_inserter(found), [](auto const& item) {
        return item.id;
    });
    return found;
}

announced_definition announcement_in(std::string_view bytes) {
    verified_message<ProviderDefinitionChangedEvent> const message{bytes};
    auto const& definition = present(message.root().provider_definition());
    announced_definition announced{
        definition.fingerprint(),
        {},
        flatbuffers::IsFieldPresent(&definition, ProviderDefinition::VT_VALID)};
    for (auto const* const variable : present(definition.variable_definitions())) {
        announced.variables.push_back(
            {present(variable->path()).str(),
             variable->id(),
             static_cast<int>(variable->data_type()),
             static_cast<int>(variable->access())});
    }
    return announced;
}

sent_variables change_event_in(std::string_view bytes) {
    verified_message<VariablesChangedEvent> const message{bytes};
    return variables_of(present(message.root().variables()));
}

sent_variables read_reply_in(std::string_view bytes) {
    verified_message<ReadVariablesQueryResponse> const message{bytes};
    return variables_of(present(message.root().variables()));
}

sent_time as_sent(timestamp when) {
    auto const count = when.time_since_epoch().count();
    return {
        count / nanoseconds_per_second, static_cast<std::int32_t>(count % nanoseconds_per_second)};
}

} // namespace arvenhold::corvel::hub
