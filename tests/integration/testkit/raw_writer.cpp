// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "raw_writer.hpp"

#include <httplib.h>
#include <nlohmann/json.hpp>

namespace arvenhold::corvel::hub::testkit {
namespace {

std::string obtain_token(hub_access const& access) {
    httplib::Client client{access.token_endpoint.substr(0, access.token_endpoint.rfind("/token"))};
    client.set_basic_auth(access.client_id.c_str(), access.client_secret.c_str());
    auto const response = client.Post(
        "/token",
        "grant_type=client_credentials&scope=hub.variables.readwrite",
        "application/x-www-form-urlencoded");
    return nlohmann::json::parse(response->body).at("access_token");
}

} // namespace

raw_writer::raw_writer(hub_access const& access)
    : m_peer{access.server_url, obtain_token(access)} {}

void raw_writer::write(
    std::string const& provider,
    definition_fingerprint fingerprint,
    variable_id id,
    std::uint8_t tag,
    wire::value_field const& value) {
    wire::variable_table variable;
    variable.value_type = tag;
    variable.value = wire::value_table{value};
    variable.id = id;
    wire::variable_list_table list;
    list.fingerprint = fingerprint;
    list.items = {variable};
    m_peer.publish("v1.loc." + provider + ".vars.cmd.write", wire::write_variables_command(list));
}

} // namespace arvenhold::corvel::hub::testkit
