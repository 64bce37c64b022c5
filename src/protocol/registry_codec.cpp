// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/registry_codec.hpp"

#include "protocol/checked_table.hpp"
#include "protocol/hub_messages_generated.h"

#include <string_view>

namespace arvenhold::corvel::hub {

namespace {

// The field is the root table's only one.
template <flatbuffers::voffset_t providers_field>
std::set<std::string> provider_list_of(
    std::string_view bytes, decode_context const& context, std::string_view no_items) {
    message_bytes const message{bytes};
    table_reader<field<providers_field, reference>> root_reader{message};
    auto const root = root_reader.find_root();
    if (!root) {
        context.report_missing(no_message_data);
    }
    table_reader<field<ProviderList::VT_ITEMS, reference>> list_reader{message};
    auto const list = list_reader.find(root->template follow<providers_field>());
    auto const items = list ? message.find_vector(
                           list->template follow<ProviderList::VT_ITEMS>(), sizeof(reference))
                            : std::nullopt;
    if (!items) {
        context.report_missing(no_items);
    }
    std::set<std::string> identifiers;
    table_reader<field<Provider::VT_ID, reference>> provider_reader{message};
    for (std::size_t position = 0; position < items->size; ++position) {
        auto const provider = provider_reader.find_element(*items, position);
        auto const id = provider ? message.find_string(provider->template follow<Provider::VT_ID>())
                                 : std::nullopt;
        if (!id) {
            context.report_missing("provider identifier nullptr");
        }
        identifiers.emplace(*id);
    }
    return identifiers;
}

} // namespace

bool decode_registry_state(std::string_view bytes, decode_context const& context) {
    message_bytes const message{bytes};
    table_reader<field<RegistryStateChangedEvent::VT_STATE, RegistryState>> reader{message};
    auto const event = reader.find_root();
    if (!event) {
        context.report_missing("state changed event data is nullptr");
    }
    return event->get<RegistryStateChangedEvent::VT_STATE>() == RegistryState::Ready;
}

std::set<std::string> decode_provider_list_reply(
    std::string_view bytes, decode_context const& context) {
    return provider_list_of<ReadProvidersQueryResponse::VT_PROVIDERS>(
        bytes, context, "message data (providers_query_response/providers/items) nullptr");
}

std::set<std::string> decode_provider_list_event(
    std::string_view bytes, decode_context const& context) {
    return provider_list_of<ProvidersChangedEvent::VT_PROVIDERS>(
        bytes, context, "message data (providers_changed_event/providers/items) nullptr");
}

void serialize_provider_list_request(message_builder& builder) {
    builder.Finish(CreateReadProvidersQuery(builder));
}

} // namespace arvenhold::corvel::hub
