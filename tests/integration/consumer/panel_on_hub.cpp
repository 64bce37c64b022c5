// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_on_hub.hpp"

namespace arvenhold::corvel::hub {

panel_on_hub::panel_on_hub()
    : panel{
        "panel",
        false,
        [](auto identifiers, consumer& /*receiver*/, void* user_data) {
            static_cast<panel_on_hub*>(user_data)->lists.add(*identifiers);
        },
        this} {}

void panel_on_hub::connect() {
    connect(panel);
}

// NOLINTNEXTLINE(readability-make-member-function-const): starts a client of this hub
void panel_on_hub::connect(consumer& client, std::string const& secret) {
    client.connect(hub.nats_server.get_url(), hub.token_endpoint.get_url(), "developer", secret);
}

void panel_on_hub::play_registry() {
    hub.peer.answer("v1.loc.registry.providers.qry.read", wire::provider_list_reply({"boiler"}));
    hub.peer.answer(
        "v1.loc.registry.providers.boiler.def.qry.read",
        wire::definition_reply(
            77,
            {wire::defined(1, "temperature", wire::double_code, wire::read_only_code),
             wire::defined(2, "set_point", wire::double_code)}));
}

void panel_on_hub::play_boiler() {
    hub.peer.answer(
        "v1.loc.boiler.vars.qry.read",
        wire::read_reply(77, {wire::item(1, 20.5), wire::item(2, 60.0)}));
}

std::shared_ptr<provider_connection> panel_on_hub::attach() {
    auto connection = panel.attach_to_provider("boiler");
    connection->set_event_callback(
        [](event what, provider_connection& /*connection*/, void* user_data) {
            static_cast<panel_on_hub*>(user_data)->events.add(what);
        },
        this);
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto changed, provider_connection&, void* user_data) {
            static_cast<panel_on_hub*>(user_data)->changes.add(changed);
        },
        this);
    return connection;
}

variable_value value_of(provider_connection& connection, variable_id id) {
    auto const variables = connection.get_current_variables().variables;
    return std::get<variable_value>(variables->at(id)->get_value_with_timestamp());
}

} // namespace arvenhold::corvel::hub
