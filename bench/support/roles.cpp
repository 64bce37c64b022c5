// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/roles.hpp"

#include "protocol/hub_messages_generated.h"
#include "support/null_nats.hpp"

#include <atomic>
#include <chrono>
#include <string_view>
#include <thread>

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::size_t path_size = 32;
constexpr std::string_view text = "a text of thirty-two characters!";

std::string_view bytes_of(flatbuffers::FlatBufferBuilder const& builder) {
    return {
        static_cast<char const*>(static_cast<void const*>(builder.GetBufferPointer())),
        builder.GetSize()};
}

variable_value value_at(std::size_t position, content kind) {
    auto const number = static_cast<double>(position) * 0.5;
    if (kind == content::doubles) {
        return number;
    }
    switch (position % std::variant_size_v<variable_value>) {
    case 0:
        return position % 4 == 0;
    case 1:
        return number;
    case 2:
        return static_cast<std::int64_t>(position);
    case 3:
        return std::string{text};
    case 4:
        return noon + std::chrono::milliseconds{position};
    default:
        return std::chrono::nanoseconds{std::chrono::milliseconds{position}};
    }
}

std::string path_at(std::size_t position) {
    std::string path{"plant/line-04/press/"};
    auto const digits = std::to_string(position);
    return path.append(path_size - path.size() - digits.size(), '0').append(digits);
}

std::string make_verdict() {
    flatbuffers::FlatBufferBuilder builder;
    builder.Finish(CreateProviderDefinitionChangedEvent(
        builder, CreateProviderDefinition(builder, fingerprint, 0, 1)));
    return std::string{bytes_of(builder)};
}

// Repeats the registry's verdict until the provider that waits for it has received it.
class accepting_registry {
public:
    accepting_registry()
        : m_thread{[this] {
            null_nats::incoming_message const verdict{
                "v1.loc.registry.providers.press.def.evt.changed", make_verdict()};
            while (!m_heard) {
                null_nats::deliver(verdict);
                std::this_thread::sleep_for(std::chrono::milliseconds{1});
            }
        }} {}
    accepting_registry(accepting_registry const&) = delete;
    accepting_registry& operator=(accepting_registry const&) = delete;
    ~accepting_registry() {
        m_heard = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_heard{false};
    std::thread m_thread;
};

VariableDataType data_type_of(variable_value const& value) {
    constexpr std::array types{
        VariableDataType::Bool,
        VariableDataType::Double,
        VariableDataType::Int64,
        VariableDataType::String,
        VariableDataType::Timestamp,
        VariableDataType::Duration};
    return types.at(value.index());
}

} // namespace

std::vector<variable_definition_entry> make_entries(std::size_t count, content kind) {
    std::vector<variable_definition_entry> entries;
    entries.reserve(count);
    for (std::size_t position = 0; position < count; ++position) {
        entries.emplace_back(
            path_at(position), value_at(position, kind), variable_permissions::read_write);
    }
    return entries;
}

connected_provider::connected_provider(std::size_t count, content kind)
    : m_count{count}
    , m_kind{kind}
    , m_provider{std::make_unique<provider>("press")} {
    m_provider->connect("nats://hub", "http://hub/token", "id", "secret");
    provider_definition definition{fingerprint};
    definition.bulk_add_variable_definitions(make_entries(count, kind));
    definition.finalize();
    accepting_registry const registry;
    m_list = m_provider->register_provider_definition(definition);
    m_provider->publish(noon);
}

variable_list& connected_provider::list() const {
    return *m_list;
}

std::size_t connected_provider::size() const {
    return m_count;
}

variable_id connected_provider::first_id() const {
    return m_list->get_variables().begin()->first;
}

new_values connected_provider::values() const {
    return values(m_count);
}

new_values connected_provider::values(std::size_t count) const {
    new_values all;
    all.reserve(count);
    for (std::size_t position = 0; position < m_count; position += m_count / count) {
        all.emplace_back(
            first_id() + static_cast<variable_id>(position), value_at(position, m_kind));
    }
    return all;
}

std::string connected_provider::change_event() const {
    return null_nats::published_by([this] { m_list->bulk_publish(values(), noon); });
}

connected_consumer::connected_consumer(std::string const& definition) {
    flatbuffers::FlatBufferBuilder providers;
    providers.Finish(CreateReadProvidersQueryResponse(
        providers,
        CreateProviderList(
            providers, providers.CreateVector(std::vector<flatbuffers::Offset<Provider>>{}))));
    flatbuffers::FlatBufferBuilder values;
    values.Finish(CreateReadVariablesQueryResponse(
        values,
        CreateVariableList(
            values,
            fingerprint,
            nullptr,
            values.CreateVector(std::vector<flatbuffers::Offset<Variable>>{}))));
    null_nats::answer_requests("v1.loc.registry.providers.qry.read", bytes_of(providers));
    null_nats::answer_requests("v1.loc.registry.providers.press.def.qry.read", definition);
    null_nats::answer_requests("v1.loc.press.vars.qry.read", bytes_of(values));
    m_consumer.connect("nats://hub", "http://hub/token", "id", "secret");
}

std::shared_ptr<provider_connection> connected_consumer::attach() {
    return provider_connection::create("press", m_consumer);
}

std::string make_definition_reply(
    std::vector<variable_definition_entry> const& entries, variable_id first_id) {
    flatbuffers::FlatBufferBuilder builder;
    std::vector<flatbuffers::Offset<VariableDefinition>> variables;
    variables.reserve(entries.size());
    for (auto const& [path, value, permissions] : entries) {
        variables.push_back(CreateVariableDefinition(
            builder,
            builder.CreateString(path),
            first_id++,
            data_type_of(value),
            VariableAccess::ReadWrite));
    }
    builder.Finish(CreateReadProviderDefinitionQueryResponse(
        builder,
        CreateProviderDefinition(builder, fingerprint, builder.CreateVector(variables), 1)));
    return std::string{bytes_of(builder)};
}

} // namespace arvenhold::corvel::hub::bench
