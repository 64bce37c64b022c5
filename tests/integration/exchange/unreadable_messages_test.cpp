// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_test.hpp"
#include "support/damaged_bytes.hpp"
#include "support/odd_messages.hpp"

#include <array>
#include <tuple>

namespace arvenhold::corvel::hub {

namespace {

// The subjects of the seven subscriptions of a provider and its consumer; both have one to the
// registry's view of the definition. The registry's state comes last: a random message may say that
// it is ready, and a verdict that is awaited counts whatever it says.
constexpr std::array subjects{
    "v1.loc.registry.providers.evt.changed",
    "v1.loc.registry.providers.boiler.def.evt.changed",
    "v1.loc.boiler.vars.qry.read",
    "v1.loc.boiler.vars.cmd.write",
    "v1.loc.boiler.vars.evt.changed",
    "v1.loc.registry.state.evt.changed"};

std::vector<std::string> truncated_events() {
    std::vector<std::string> const events{
        wire::registry_state_changed_event(1),
        wire::providers_changed_event(wire::provider_list_table{.items = {{{"boiler"}}}}),
        wire::provider_definition_changed_event(wire::provider_definition_table{
            .fingerprint = 78,
            .variable_definitions = {{{.path = "a", .id = 1, .data_type = 3, .access = 2}}},
            .valid = 1}),
        wire::variables_changed_event(wire::variable_list_table{
            .fingerprint = 77,
            .timestamp = wire::time_struct{1, 2},
            .items = {{{.value_type = 3, .value = wire::value_table{1.5}, .id = 1}}}})};
    std::vector<std::string> truncated;
    for (auto const& event : events) {
        for (std::size_t size = 0; size < event.size(); ++size) {
            truncated.push_back(event.substr(0, size));
        }
    }
    return truncated;
}

std::vector<std::string> unreadable_messages() {
    auto messages = truncated_events();
    for (auto const& [name, bytes, misalignment] : random_messages()) {
        messages.push_back(bytes);
    }
    return messages;
}

class unreadable_message : public exchange_test {
protected:
    unreadable_message() {
        boiler.apply_writes();
        connect(boiler.sender);
        connect(panel.receiver);
    }

    offering boiler{
        "boiler",
        77,
        {{"a", 1.0, variable_permissions::read_only},
         {"b", 2.0, variable_permissions::read_write}}};
    watcher panel{"panel"};
};

TEST_F(unreadable_message, on_any_subject_leaves_provider_and_consumer_usable) {
    auto const connection = panel.attach("boiler");
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};

    for (auto const* const subject : subjects) {
        for (auto const& bytes : unreadable_messages()) {
            peer.publish(subject, bytes, "inbox.of.a.peer");
        }
    }

    EXPECT_TRUE(await([&] { return connection->get_state() == state::faulted; }));
    EXPECT_THAT(qualities(*connection), testing::Each(variable_quality::bad));
    EXPECT_TRUE(panel.receiver.is_connected());
    auto const replacement = provider_connection::create("boiler", panel.receiver);
    boiler.list->bulk_publish({{boiler.id_of("a"), 7.5}}, at_noon);
    EXPECT_TRUE(await([&] { return value_of(*replacement, "a") == variable_value{7.5}; }));
    variable(*replacement, "b").set_value(21.5, timestamp{});
    replacement->write_variables(77, {boiler.id_of("b")});
    auto& written = *boiler.list->resolve_variable_by_id(boiler.id_of("b"));
    EXPECT_TRUE(await([&] {
        return std::get<variable_value>(written.get_value_with_timestamp()) == variable_value{21.5};
    }));
    EXPECT_TRUE(boiler.sender.is_connected());
    EXPECT_EQ(boiler.sender.get_fingerprint(), 77U);
}

} // namespace

} // namespace arvenhold::corvel::hub
