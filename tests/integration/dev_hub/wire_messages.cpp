// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "wire_messages.hpp"

#include "protocol/hub_messages_generated.h"

#include <flatbuffers/flatbuffers.h>

#include <span>
#include <stdexcept>

namespace arvenhold::corvel::hub::dev {
namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

template <class Root>
std::string finish(FlatBufferBuilder& builder, Offset<Root> root) {
    builder.Finish(root);
    auto const bytes = std::span{builder.GetBufferPointer(), builder.GetSize()};
    return {bytes.begin(), bytes.end()};
}

template <class Root>
Root const& read(std::string const& bytes) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the verifier wants bytes
    auto const* const data = reinterpret_cast<std::uint8_t const*>(bytes.data());
    flatbuffers::Verifier verifier{data, bytes.size()};
    if (!verifier.VerifyBuffer<Root>(nullptr)) {
        throw std::runtime_error{"not a message of this kind"};
    }
    return *flatbuffers::GetRoot<Root>(data);
}

template <class Field>
Field const& require(Field const* field) {
    if (field == nullptr) {
        throw std::runtime_error{"the message lacks a field"};
    }
    return *field;
}

std::optional<carried_definition> read_definition(ProviderDefinition const* carried) {
    if (carried == nullptr) {
        return {};
    }
    carried_definition result{{carried->fingerprint(), {}}, carried->valid()};
    for (auto const* const entry : require(carried->variable_definitions())) {
        result.content.variables.push_back(
            {require(entry->path()).str(),
             entry->id(),
             static_cast<std::uint8_t>(entry->data_type()),
             static_cast<std::uint8_t>(entry->access())});
    }
    return result;
}

std::vector<std::string> read_providers(ProviderList const& list) {
    std::vector<std::string> ids;
    for (auto const* const provider : require(list.items())) {
        ids.push_back(require(provider->id()).str());
    }
    return ids;
}

} // namespace

std::string make_definition_event(definition const& published) {
    FlatBufferBuilder builder;
    std::vector<Offset<VariableDefinition>> entries;
    for (auto const& entry : published.variables) {
        entries.push_back(CreateVariableDefinition(
            builder,
            builder.CreateString(entry.path),
            entry.id,
            static_cast<VariableDataType>(entry.data_type),
            static_cast<VariableAccess>(entry.access)));
    }
    auto const carried =
        CreateProviderDefinition(builder, published.fingerprint, builder.CreateVector(entries));
    return finish(builder, CreateProviderDefinitionChangedEvent(builder, carried));
}

std::string make_empty_definition_event() {
    FlatBufferBuilder builder;
    return finish(builder, CreateProviderDefinitionChangedEvent(builder));
}

std::string make_definition_query() {
    FlatBufferBuilder builder;
    return finish(builder, CreateReadProviderDefinitionQuery(builder));
}

std::string make_list_query() {
    FlatBufferBuilder builder;
    return finish(builder, CreateReadProvidersQuery(builder));
}

std::string make_read_reply(std::uint64_t fingerprint) {
    FlatBufferBuilder builder;
    auto const items = builder.CreateVector(std::vector<Offset<Variable>>{});
    Timestamp const now{1, 0};
    return finish(
        builder,
        CreateReadVariablesQueryResponse(
            builder, CreateVariableList(builder, fingerprint, &now, items)));
}

std::optional<carried_definition> read_definition_changed(std::string const& bytes) {
    return read_definition(read<ProviderDefinitionChangedEvent>(bytes).provider_definition());
}

std::optional<carried_definition> read_definition_answer(std::string const& bytes) {
    return read_definition(read<ReadProviderDefinitionQueryResponse>(bytes).provider_definition());
}

std::vector<std::string> read_changed_providers(std::string const& bytes) {
    return read_providers(require(read<ProvidersChangedEvent>(bytes).providers()));
}

std::vector<std::string> read_answered_providers(std::string const& bytes) {
    return read_providers(require(read<ReadProvidersQueryResponse>(bytes).providers()));
}

int decode_registry_state(std::string const& bytes) {
    return static_cast<int>(read<RegistryStateChangedEvent>(bytes).state());
}

std::vector<std::uint32_t> read_requested_ids(std::string const& bytes) {
    auto const& ids = require(read<ReadVariablesQuery>(bytes).ids());
    return {ids.begin(), ids.end()};
}

} // namespace arvenhold::corvel::hub::dev
