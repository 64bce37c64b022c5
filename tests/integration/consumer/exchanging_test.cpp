// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_on_hub.hpp"
#include "support/thrown_message.hpp"

#include <atomic>
#include <future>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;

class attached_panel : public panel_on_hub {
protected:
    attached_panel() {
        play_registry();
        play_boiler();
        connect();
    }
};

TEST_F(attached_panel, asks_the_registry_first_and_then_the_provider) {
    auto traffic = hub.peer.listen("v1.loc.>");

    auto const connection = attach();

    auto const first = traffic.take();
    EXPECT_EQ(first.subject, "v1.loc.registry.providers.boiler.def.qry.read");
    EXPECT_EQ(first.bytes, (std::string{"\x08\0\0\0\x04\0\x04\0\x04\0\0\0", 12}));
    auto const second = traffic.take();
    EXPECT_EQ(second.subject, "v1.loc.boiler.vars.qry.read");
    EXPECT_THAT(requested_ids_in(second.bytes), ElementsAre(1, 2));
    EXPECT_EQ(value_of(*connection, 1), variable_value{20.5});
    EXPECT_EQ(value_of(*connection, 2), variable_value{60.0});
}

TEST_F(attached_panel, says_that_nobody_provides_and_may_try_again) {
    hub.peer.answer(
        "v1.loc.registry.providers.pump.def.qry.read",
        wire::definition_reply(5, {wire::defined(1, "speed", wire::double_code)}));

    EXPECT_EQ(
        thrown_message<connection_failed>([this] { panel.attach_to_provider("pump"); }),
        "Consumer panel: failed to read variables from a provider (related sujbect: "
        "v1.loc.pump.vars.qry.read), NATS returns: 34 = No responders available for request\n");

    hub.peer.answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {wire::item(1, 7.0)}));

    EXPECT_EQ(value_of(*panel.attach_to_provider("pump"), 1), variable_value{7.0});
}

TEST_F(attached_panel, gets_changes_definitions_and_losses) {
    auto const connection = attach();

    hub.peer.publish(
        "v1.loc.boiler.vars.evt.changed",
        wire::change_event(77, {wire::item(2, 61.0), wire::item(1, 20.5)}));
    EXPECT_TRUE(changes.wait_for({2, 1}));
    hub.peer.publish(
        "v1.loc.registry.providers.boiler.def.evt.changed", wire::definition_event(77, {}));
    EXPECT_TRUE(events.wait_for(event::definition_updated));
    hub.peer.publish("v1.loc.registry.providers.evt.changed", wire::provider_list_event({}));
    EXPECT_TRUE(lists.wait_for({}));

    EXPECT_THAT(events.get(), ElementsAre(event::definition_updated, event::provider_lost));
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
}

TEST_F(attached_panel, sends_a_command_that_names_fingerprint_ids_and_values) {
    auto commands = hub.peer.listen("v1.loc.boiler.vars.cmd.write");
    auto const connection = attach();
    connection->get_current_variables().variables->at(2)->set_value(70.0, timestamp{});

    connection->write_variables(77, {2});

    auto const sent = commands.take();
    auto const command = write_command_in(sent.bytes);
    EXPECT_EQ(command.fingerprint, 77U);
    EXPECT_THAT(command.items, ElementsAre(commanded_variable{2, 70.0}));
    EXPECT_EQ(sent.reply_subject, "");
}

TEST_F(attached_panel, cannot_send_more_than_the_server_takes) {
    hub.peer.answer(
        "v1.loc.registry.providers.pump.def.qry.read",
        wire::definition_reply(5, {wire::defined(1, "text", wire::string_code)}));
    hub.peer.answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
    auto const connection = panel.attach_to_provider("pump");
    connection->get_current_variables().variables->at(1)->set_value(
        std::string(std::size_t{9} * 1024 * 1024, 'x'), timestamp{});

    EXPECT_EQ(
        thrown_message<connection_failed>([&] { connection->write_variables(5, {1}); }),
        "Consumer panel: failed to write variables into a provider (related sujbect: "
        "v1.loc.pump.vars.cmd.write), NATS returns: 21 = Maximum Payload Exceeded\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_EQ(attach()->get_state(), state::connected);
}

TEST_F(attached_panel, misses_no_event_that_is_published_right_after_attaching) {
    for (int round = 1; round <= 300; ++round) {
        auto const connection = panel.attach_to_provider("boiler");

        hub.peer.publish(
            "v1.loc.boiler.vars.evt.changed",
            wire::change_event(77, {wire::item(1, static_cast<double>(round))}));

        ASSERT_TRUE(await([&] { return value_of(*connection, 1) == variable_value{1.0 * round}; }));
        panel.disconnect();
        connect();
    }
}

TEST_F(attached_panel, sees_its_connections_refuse_everything_once_it_is_gone) {
    auto display = std::make_unique<consumer>("display", false, nullptr, nullptr);
    connect(*display);
    auto const connection = display->attach_to_provider("boiler");

    display.reset();

    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_THROW(connection->update_all_variables(), operational_state_invalid);
    EXPECT_THROW(connection->write_variables(77, {1}), operational_state_invalid);
    EXPECT_THROW(connection->request_provider_definition(), operational_state_invalid);
}

TEST_F(attached_panel, is_one_object_for_two_threads_that_attach_at_once) {
    for (int round = 0; round < 20; ++round) {
        auto other =
            std::async(std::launch::async, [this] { return panel.attach_to_provider("boiler"); });
        auto const one = panel.attach_to_provider("boiler");

        EXPECT_EQ(one, other.get());

        panel.disconnect();
        connect();
    }
}

TEST_F(attached_panel, may_be_disconnected_while_it_attaches_and_events_pour_in) {
    std::atomic<bool> is_over{false};
    auto flood = std::async(std::launch::async, [&] {
        while (!is_over) {
            hub.peer.publish(
                "v1.loc.boiler.vars.evt.changed", wire::change_event(77, {wire::item(1, 21.5)}));
        }
    });

    for (int round = 0; round < 50; ++round) {
        auto disconnected = std::async(std::launch::async, [this] { panel.disconnect(); });
        try {
            auto const connection = panel.attach_to_provider("boiler");
            disconnected.get();
            EXPECT_EQ(connection->get_state(), state::disconnected);
        } catch (std::exception const&) {
            disconnected.get(); // came first
        }
        EXPECT_FALSE(panel.is_connected());
        connect();
    }
    is_over = true;
    flood.get();
    EXPECT_EQ(attach()->get_state(), state::connected);
}

} // namespace

} // namespace arvenhold::corvel::hub
