// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_with_session.hpp"

namespace arvenhold::corvel::hub {

hub_access exchange_with_session::access() {
    hub_access result;
    result.server_url = hub.get_nats_server().get_url();
    result.token_endpoint = hub.get_token_endpoint().get_url();
    result.client_id = "developer";
    result.client_secret = "developer-secret";
    return result;
}

session_settings exchange_with_session::quick_settings() {
    return session_settings{}
        .set_ping(std::chrono::milliseconds{200}, 2)
        .set_probe_interval(std::chrono::milliseconds{500})
        .set_retry(std::chrono::milliseconds{50}, std::chrono::milliseconds{500});
}

void exchange_with_session::start_oven(definition_fingerprint fingerprint, double temperature) {
    oven.emplace(
        "oven",
        fingerprint,
        std::vector<variable_definition_entry>{
            {"temperature", temperature, variable_permissions::read_only},
            {"set_point", 60.0, variable_permissions::read_write}});
    connect(oven->sender);
}

void exchange_with_session::publish_temperature(double temperature) {
    oven->list->publish(oven->id_of("temperature"), temperature, at_noon);
}

bool exchange_with_session::becomes_live(followed_variable<double> const& followed, double value) {
    return await([&] {
        auto const now = followed.now();
        return now.freshness == freshness::live && now.value == value;
    });
}

bool exchange_with_session::becomes_stale(followed_variable<double> const& followed) {
    return await([&] { return followed.now().freshness == freshness::stale; });
}

} // namespace arvenhold::corvel::hub
