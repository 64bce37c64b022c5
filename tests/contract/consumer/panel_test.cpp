// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"

#include <array>
#include <iostream>

namespace arvenhold::corvel::hub {

panel_test::panel_test(bool read_only)
    : error_output{std::cerr}
    , output{std::cout}
    , panel{"panel", read_only, &record_list, this} {
    nats.skip_token_handler();
    answer(providers_query, wire::provider_list_reply({"boiler", "pump"}));
    answer(definition_query, wire::definition_reply(77, boiler_variables()));
    answer(variables_query, wire::read_reply(77, boiler_values()));
}

void panel_test::connect() {
    panel.connect("nats://hub", "http://hub/token", "id", "secret");
}

std::shared_ptr<provider_connection> panel_test::attach() {
    connect();
    auto connection = panel.attach_to_provider("boiler");
    listen_to(*connection);
    return connection;
}

void panel_test::listen_to(provider_connection& connection) {
    connection.set_event_callback(&record_event, this);
    connection.set_variables_changed_callback(&record_change, this);
}

void panel_test::answer(std::string const& subject, std::string const& bytes) {
    nats.answer_requests(subject, {NATS_OK, bytes});
}

void panel_test::refuse(std::string const& subject, natsStatus status) {
    nats.answer_requests(subject, {status});
}

std::vector<std::string> panel_test::requested_subjects() const {
    std::vector<std::string> subjects;
    for (auto const& request : nats.requests()) {
        subjects.push_back(request.subject);
    }
    return subjects;
}

void panel_test::announce_providers(std::vector<std::string> const& identifiers) {
    nats.deliver({providers_changed, wire::provider_list_event(identifiers)});
}

void panel_test::record_list(
    std::shared_ptr<std::set<std::string>> identifiers, consumer& /*receiver*/, void* user_data) {
    std::string entry{"list:"};
    for (auto const& identifier : *identifiers) {
        entry.append(" ").append(identifier);
    }
    static_cast<panel_test*>(user_data)->journal.add(entry);
}

void panel_test::record_event(event what, provider_connection& connection, void* user_data) {
    static constexpr std::array names{"updated ", "lost ", "returned "};
    static_cast<panel_test*>(user_data)->journal.add(
        names.at(static_cast<std::size_t>(what)) + connection.get_associated_provider_identifier());
}

void panel_test::record_change(
    definition_fingerprint fingerprint,
    std::vector<variable_id> changed,
    provider_connection& connection,
    void* user_data) {
    auto entry = "changed " + connection.get_associated_provider_identifier() + " "
               + std::to_string(fingerprint) + ":";
    for (auto const id : changed) {
        entry.append(" ").append(std::to_string(id));
    }
    static_cast<panel_test*>(user_data)->journal.add(entry);
}

std::vector<wire::variable_definition_table> boiler_variables() {
    return {
        wire::defined(1, "temperature", wire::double_code, wire::read_only_code),
        wire::defined(2, "set_point", wire::double_code),
        wire::defined(3, "mode", wire::string_code)};
}

std::vector<wire::variable_table> boiler_values() {
    return {
        wire::at({1'600'000'001, 0}, wire::item(1, 20.5)),
        wire::at({1'600'000'002, 0}, wire::item(2, 60.0)),
        wire::at({1'600'000'003, 0}, wire::item(3, "auto"))};
}

consumer_variable& variable(provider_connection& connection, variable_id id) {
    return *connection.get_current_variables().variables->at(id);
}

held content(provider_connection& connection, variable_id id) {
    auto& chosen = variable(connection, id);
    auto const [value, when] = chosen.get_value_with_timestamp();
    return {value, chosen.get_quality(), when, chosen.get_update_count()};
}

std::vector<variable_quality> qualities(provider_connection& connection) {
    std::vector<variable_quality> found;
    for (auto const& [id, variable] : connection.get_current_variables()) {
        found.push_back(variable->get_quality());
    }
    return found;
}

} // namespace arvenhold::corvel::hub
