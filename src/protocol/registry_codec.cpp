// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/registry_codec.hpp"

#include "protocol/hub_messages_generated.h"

#include <string_view>

namespace arvenhold::corvel::hub {

namespace {

template <class Message>
std::set<std::string> provider_list_of(
    payload const& message, decode_context const& context, std::string_view no_items) {
    auto const* const root = message.root<Message>();
    if (root == nullptr) {
        context.report_missing(no_message_data);
    }
    auto const* const providers = root->providers();
    if (providers == nullptr || providers->items() == nullptr) {
        context.report_missing(no_items);
    }
    std::set<std::string> identifiers;
    for (auto const* const provider : *providers->items()) {
        if (provider->id() == nullptr) {
            context.report_missing("provider identifier nullptr");
        }
        identifiers.insert(provider->id()->str());
    }
    return identifiers;
}

} // namespace

bool decode_registry_state(payload const& message, decode_context const& context) {
    auto const* const event = message.root<RegistryStateChangedEvent>();
    if (event == nullptr) {
        context.report_missing("state changed event data is nullptr");
    }
    return event->state() == RegistryState::Ready;
}

std::set<std::string> decode_provider_list_reply(
    payload const& message, decode_context const& context) {
    return provider_list_of<ReadProvidersQueryResponse>(
        message, context, "message data (providers_query_response/providers/items) nullptr");
}

std::set<std::string> decode_provider_list_event(
    payload const& message, decode_context const& context) {
    return provider_list_of<ProvidersChangedEvent>(
        message, context, "message data (providers_changed_event/providers/items) nullptr");
}

void serialize_provider_list_request(message_builder& builder) {
    builder.Finish(CreateReadProvidersQuery(builder));
}

} // namespace arvenhold::corvel::hub
