// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/registry_messages.hpp"

#include "protocol/hub_messages_generated.h"

#include <flatbuffers/flatbuffers.h>

#include <limits>

namespace arvenhold::corvel::hub::dev {
namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

template <class Root>
message_bytes finish(FlatBufferBuilder& builder, Offset<Root> root) {
    builder.Finish(root);
    auto const bytes = std::span{builder.GetBufferPointer(), builder.GetSize()};
    return {bytes.begin(), bytes.end()};
}

Offset<ProviderList> add_providers(
    FlatBufferBuilder& builder, std::set<std::string> const& providers) {
    std::vector<Offset<Provider>> items;
    items.reserve(providers.size());
    for (auto const& provider : providers) {
        items.push_back(CreateProvider(builder, builder.CreateString(provider)));
    }
    return CreateProviderList(builder, builder.CreateVector(items));
}

Offset<ProviderDefinition> add_definition(
    FlatBufferBuilder& builder, definition const& added, verdict outcome) {
    std::vector<Offset<VariableDefinition>> items;
    items.reserve(added.variables.size());
    for (auto const& entry : added.variables) {
        items.push_back(CreateVariableDefinition(
            builder,
            builder.CreateString(entry.path),
            entry.id,
            static_cast<VariableDataType>(entry.data_type),
            static_cast<VariableAccess>(entry.access)));
    }
    return CreateProviderDefinition(
        builder,
        added.fingerprint,
        builder.CreateVector(items),
        static_cast<std::uint8_t>(outcome));
}

// Copies the bytes, which may lie at any address, to where the reader can use them, and verifies
// them. Null if they are not a message of this kind; otherwise valid as long as `storage`.
template <class Root>
Root const* read(std::span<std::uint8_t const> bytes, message_bytes& storage) {
    storage.assign(bytes.begin(), bytes.end());
    flatbuffers::Verifier verifier{storage.data(), storage.size()};
    if (!verifier.VerifyBuffer<Root>(nullptr)) {
        return nullptr;
    }
    return flatbuffers::GetRoot<Root>(storage.data());
}

variable_entry make_entry(VariableDefinition const& received) {
    return {
        received.path() != nullptr ? received.path()->str() : std::string{},
        received.id(),
        static_cast<std::uint8_t>(received.data_type()),
        static_cast<std::uint8_t>(received.access())};
}

} // namespace

message_bytes make_ready_event() {
    FlatBufferBuilder builder;
    return finish(builder, CreateRegistryStateChangedEvent(builder, RegistryState::Ready));
}

message_bytes make_providers_changed_event(std::set<std::string> const& providers) {
    FlatBufferBuilder builder;
    return finish(builder, CreateProvidersChangedEvent(builder, add_providers(builder, providers)));
}

message_bytes make_providers_reply(std::set<std::string> const& providers) {
    FlatBufferBuilder builder;
    return finish(
        builder, CreateReadProvidersQueryResponse(builder, add_providers(builder, providers)));
}

message_bytes make_verdict_event(definition const& judged, verdict outcome) {
    FlatBufferBuilder builder;
    return finish(
        builder,
        CreateProviderDefinitionChangedEvent(builder, add_definition(builder, judged, outcome)));
}

message_bytes make_withdrawal_event() {
    FlatBufferBuilder builder;
    return finish(builder, CreateProviderDefinitionChangedEvent(builder));
}

message_bytes make_definition_reply(definition const* known) {
    FlatBufferBuilder builder;
    auto const content = known != nullptr ? add_definition(builder, *known, verdict::valid)
                                          : Offset<ProviderDefinition>{};
    return finish(builder, CreateReadProviderDefinitionQueryResponse(builder, content));
}

message_bytes make_probe() {
    // Providers count their ids up from small numbers.
    constexpr auto unused_id = std::numeric_limits<std::uint32_t>::max();
    FlatBufferBuilder builder;
    return finish(
        builder, CreateReadVariablesQuery(builder, builder.CreateVector(std::vector{unused_id})));
}

std::optional<definition> decode_definition_event(std::span<std::uint8_t const> bytes) {
    message_bytes storage;
    auto const* const event = read<ProviderDefinitionChangedEvent>(bytes, storage);
    if (event == nullptr || event->provider_definition() == nullptr) {
        return {};
    }
    auto const& received = *event->provider_definition();
    definition result{received.fingerprint(), {}};
    if (received.variable_definitions() != nullptr) {
        for (auto const* const entry : *received.variable_definitions()) {
            result.variables.push_back(make_entry(*entry));
        }
    }
    return result;
}

std::optional<std::uint64_t> read_probe_answer(std::span<std::uint8_t const> bytes) {
    message_bytes storage;
    auto const* const reply = read<ReadVariablesQueryResponse>(bytes, storage);
    if (reply == nullptr || reply->variables() == nullptr) {
        return {};
    }
    return reply->variables()->fingerprint();
}

} // namespace arvenhold::corvel::hub::dev
