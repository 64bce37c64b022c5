// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/simulated_providers.hpp"

#include "dev_hub/registry_messages.hpp"
#include "protocol/hub_messages_generated.h"

#include <chrono>
#include <stdexcept>
#include <vector>

namespace arvenhold::corvel::hub::bench {

namespace {

constexpr std::uint64_t fingerprint = 4711;
constexpr std::chrono::seconds patience{60};

// Providers and registry announce a definition with the same message.
std::string make_definition_event(std::size_t variables) {
    dev::definition all{fingerprint, {}};
    for (std::uint32_t id = 0; id < variables; ++id) {
        all.variables.push_back(
            {"value/" + std::to_string(id),
             id,
             static_cast<std::uint8_t>(VariableDataType::Double),
             static_cast<std::uint8_t>(VariableAccess::ReadWrite)});
    }
    auto const bytes = dev::make_verdict_event(all, dev::verdict::valid);
    return {bytes.begin(), bytes.end()};
}

std::string make_read_reply(std::size_t variables) {
    flatbuffers::FlatBufferBuilder builder;
    Timestamp const when{1'700'000'000, 123'456'789};
    std::vector<flatbuffers::Offset<Variable>> items;
    for (std::uint32_t id = 0; id < variables; ++id) {
        auto const value = CreateDoubleValue(builder, 0.5 * id).Union();
        items.push_back(CreateVariable(
            builder, VariableValue::DoubleValue, value, id, &when, VariableQuality::Good));
    }
    builder.Finish(CreateReadVariablesQueryResponse(
        builder, CreateVariableList(builder, fingerprint, &when, builder.CreateVector(items))));
    auto const* const bytes = builder.GetBufferPointer();
    return {bytes, bytes + builder.GetSize()};
}

} // namespace

// Sends immediately, because the library, too, lets no reply to a read request wait.
simulated_providers::simulated_providers(
    dev::dev_hub& hub, std::size_t count, std::size_t variables)
    : m_values{make_read_reply(variables)}
    , m_nats{hub.get_nats_server().get_url(), hub.get_nats_server().get_token(), true} {
    m_nats.subscribe("v1.loc.*.vars.qry.read", [this](natsMsg& request) {
        m_nats.publish(natsMsg_GetReply(&request), m_values);
    });
    auto const definition = make_definition_event(variables);
    for (std::size_t number = 0; number < count; ++number) {
        m_nats.publish("v1.loc." + simulated_provider(number) + ".def.evt.changed", definition);
    }
    for (std::size_t number = 0; number < count; ++number) {
        if (!hub.get_registry().wait_until_provider_listed(simulated_provider(number), patience)) {
            throw std::runtime_error{simulated_provider(number) + " is not registered"};
        }
    }
}

} // namespace arvenhold::corvel::hub::bench
