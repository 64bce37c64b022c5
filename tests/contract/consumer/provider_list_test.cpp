// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Pointee;

class delivered_provider_list : public panel_test {};

TEST_F(delivered_provider_list, replaces_the_identifiers_and_calls_the_callback) {
    connect();

    announce_providers({"press", "boiler"});

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "press")));
    EXPECT_THAT(journal.get(), ElementsAre("list: boiler press"));
}

TEST_F(delivered_provider_list, with_an_identical_list_calls_the_callback_too) {
    connect();

    announce_providers({"boiler", "pump"});
    announce_providers({"boiler", "pump"});

    EXPECT_THAT(journal.get(), ElementsAre("list: boiler pump", "list: boiler pump"));
}

TEST_F(delivered_provider_list, leaves_a_list_that_was_handed_out_unchanged) {
    connect();
    auto const before = panel.get_provider_identifiers();

    announce_providers({"press"});

    EXPECT_THAT(before, Pointee(ElementsAre("boiler", "pump")));
}

TEST_F(delivered_provider_list, may_lie_at_any_address) {
    connect();

    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        nats.deliver(
            {providers_changed, wire::provider_list_event({"press"}), std::nullopt, misalignment});
    }

    EXPECT_EQ(journal.get(), std::vector<std::string>(8, "list: press"));
}

TEST_F(delivered_provider_list, hands_over_the_current_list_the_consumer_and_the_user_data) {
    struct call {
        std::shared_ptr<std::set<std::string>> identifiers;
        consumer* receiver = nullptr;
    } seen;
    consumer display{
        "display",
        true,
        [](auto identifiers, consumer& receiver, void* user_data) {
            *static_cast<call*>(user_data) = {identifiers, &receiver};
        },
        &seen};
    display.connect("nats://hub", "http://hub/token", "id", "secret");

    announce_providers({"press"});

    EXPECT_EQ(seen.identifiers, display.get_provider_identifiers());
    EXPECT_EQ(seen.receiver, &display);
}

TEST_F(delivered_provider_list, needs_no_callback) {
    consumer display{"display", true, nullptr, nullptr};
    display.connect("nats://hub", "http://hub/token", "id", "secret");

    announce_providers({"press"});

    EXPECT_THAT(display.get_provider_identifiers(), Pointee(ElementsAre("press")));
}

TEST_F(delivered_provider_list, reports_what_leaves_the_callback) {
    consumer display{
        "display",
        true,
        [](auto /*identifiers*/, consumer& /*receiver*/, void* /*user_data*/) {
            throw std::runtime_error{"the list is too long"};
        },
        nullptr};
    display.connect("nats://hub", "http://hub/token", "id", "secret");

    announce_providers({"press"});

    EXPECT_EQ(error_output.flushed_text(), "the list is too long\n");
    EXPECT_TRUE(display.is_connected());
}

TEST_F(delivered_provider_list, of_a_session_that_ends_while_it_is_read_changes_nothing) {
    connect();
    nats.when_called("natsMsg_GetDataLength", [this] { panel.disconnect(); });

    announce_providers({"press"});

    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_provider_list, of_an_ended_session_leaves_the_next_session_alone) {
    connect();
    std::shared_ptr<provider_connection> connection;
    nats.when_called("natsMsg_GetDataLength", [&] {
        panel.disconnect();
        connection = attach();
    });

    announce_providers({"press"});

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
}

struct malformed_event {
    char const* name;
    std::string bytes;
    char const* line;
};

class malformed_provider_list_event : public panel_test,
                                      public testing::WithParamInterface<malformed_event> {};

TEST_P(malformed_provider_list_event, is_reported_and_changes_nothing) {
    auto const connection = attach();

    nats.deliver({providers_changed, GetParam().bytes});

    EXPECT_EQ(error_output.flushed_text(), GetParam().line);
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::connected);
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    malformed_provider_list_event,
    testing::Values(
        malformed_event{
            "no_data",
            "",
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data nullptr\n\n"},
        malformed_event{
            "no_list",
            wire::providers_changed_event(std::nullopt),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data (providers_changed_event/providers/items) nullptr\n\n"},
        malformed_event{
            "no_items",
            wire::providers_changed_event(wire::provider_list_table{}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data (providers_changed_event/providers/items) nullptr\n\n"},
        malformed_event{
            "no_identifier",
            wire::providers_changed_event(wire::provider_list_table{
                .items = {{wire::provider_table{}}}}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: provider identifier nullptr\n\n"}),
    case_name);

TEST_F(delivered_provider_list, without_a_message_is_reported) {
    connect();

    nats.deliver_null(providers_changed);

    EXPECT_EQ(
        error_output.flushed_text(),
        "Failed to process providers changed event: event message unavailable\n");
    EXPECT_THAT(journal.get(), IsEmpty());
}

class provider_presence : public panel_test {};

TEST_F(provider_presence, a_list_with_no_items_loses_every_attached_provider) {
    answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
    answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
    auto const boiler = attach();
    auto const pump = panel.attach_to_provider("pump");
    listen_to(*pump);

    announce_providers({});

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
    EXPECT_EQ(boiler->get_state(), state::provider_unavailable);
    EXPECT_EQ(pump->get_state(), state::provider_unavailable);
    EXPECT_THAT(qualities(*boiler), Each(variable_quality::bad));
    EXPECT_THAT(journal.get(), ElementsAre("lost boiler", "lost pump", "list:"));
}

TEST_F(provider_presence, a_lost_provider_keeps_its_values) {
    auto const connection = attach();

    announce_providers({"pump"});

    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::bad, timestamp{std::chrono::seconds{1'600'000'001}}, 1));
}

TEST_F(provider_presence, a_provider_that_stays_missing_is_lost_again_with_every_list) {
    attach();

    announce_providers({"pump"});
    announce_providers({"pump"});

    EXPECT_THAT(
        journal.get(), ElementsAre("lost boiler", "list: pump", "lost boiler", "list: pump"));
}

TEST_F(provider_presence, a_provider_that_was_never_lost_is_told_nothing) {
    auto const connection = attach();
    nats.forget_calls();

    announce_providers({"boiler"});

    EXPECT_THAT(journal.get(), ElementsAre("list: boiler"));
    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(provider_presence, a_provider_that_returns_is_told_first_and_then_asked_for_its_definition) {
    auto const connection = attach();
    announce_providers({"pump"});
    journal.forget();
    nats.answer_requests(definition_query, [this](std::string const& /*bytes*/) {
        journal.add("definition requested");
        return fake_nats::request_answer{NATS_OK, wire::definition_reply(77, boiler_variables())};
    });
    nats.answer_requests(variables_query, [this](std::string const& /*bytes*/) {
        journal.add("variables requested");
        return fake_nats::request_answer{NATS_OK, wire::read_reply(77, boiler_values())};
    });

    announce_providers({"boiler", "pump"});

    EXPECT_THAT(
        journal.get(),
        ElementsAre(
            "returned boiler", "definition requested", "variables requested", "list: boiler pump"));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
}

TEST_F(
    provider_presence,
    losses_are_told_before_returns_and_these_before_the_definition_is_asked_for) {
    answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
    answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
    attach();
    listen_to(*panel.attach_to_provider("pump"));
    announce_providers({"pump"}); // loses the boiler
    journal.forget();
    nats.answer_requests(definition_query, [this](std::string const& /*bytes*/) {
        journal.add("definition requested");
        return fake_nats::request_answer{NATS_OK, wire::definition_reply(77, boiler_variables())};
    });

    announce_providers({"boiler"}); // in the order of the names the boiler would come first

    EXPECT_THAT(
        journal.get(),
        ElementsAre("lost pump", "returned boiler", "definition requested", "list: boiler"));
}

TEST_F(provider_presence, a_provider_returns_once) {
    attach();
    announce_providers({"pump"});
    announce_providers({"boiler"});
    journal.forget();

    announce_providers({"boiler"});

    EXPECT_THAT(journal.get(), ElementsAre("list: boiler"));
}

TEST_F(provider_presence, a_provider_that_returns_with_another_definition_has_other_variables) {
    auto const connection = attach();
    announce_providers({"pump"});
    answer(definition_query, wire::definition_reply(78, {wire::defined(9, "level", 4)}));
    answer(variables_query, wire::read_reply(78, {wire::item(9, std::int64_t{5})}));

    announce_providers({"boiler"});

    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_EQ(
        content(*connection, 9), held(std::int64_t{5}, variable_quality::good, timestamp{}, 1));
}

TEST_F(provider_presence, a_definition_that_cannot_be_fetched_is_reported_and_stops_nobody) {
    answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
    answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
    auto const boiler = attach();
    auto const pump = panel.attach_to_provider("pump");
    announce_providers({});
    journal.forget();
    refuse(definition_query, NATS_TIMEOUT);

    announce_providers({"boiler", "pump"});

    EXPECT_EQ(
        error_output.flushed_text(),
        "Consumer panel: failed to request a provider definition (related sujbect: "
        "v1.loc.registry.providers.boiler.def.qry.read), NATS returns: 26 = Timeout\n\n");
    EXPECT_EQ(boiler->get_state(), state::faulted);
    EXPECT_EQ(pump->get_state(), state::connected);
    EXPECT_THAT(journal.get(), ElementsAre("returned boiler", "list: boiler pump"));
}

TEST_F(provider_presence, a_faulted_connection_follows_its_provider_no_more) {
    auto const connection = attach();
    connection->set_fault_state();

    announce_providers({});

    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(journal.get(), ElementsAre("list:"));
}

TEST_F(provider_presence, a_faulted_connection_refuses_to_fetch_the_definition_on_return) {
    auto const connection = attach();
    announce_providers({});
    connection->set_fault_state();
    journal.forget();
    nats.forget_calls();

    announce_providers({"boiler"});

    EXPECT_EQ(
        error_output.flushed_text(),
        "Consumer panel -> connection to provider boiler: query the provider definition from "
        "provider failed: provider connection is not in connected state\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(journal.get(), ElementsAre("list: boiler"));
    EXPECT_THAT(nats.calls(), IsEmpty());
}

void refuse_to_listen(event /*what*/, provider_connection& /*connection*/, void* /*user_data*/) {
    throw std::runtime_error{"nobody listens"};
}

TEST_F(provider_presence, a_throwing_event_callback_is_reported_and_stops_nobody) {
    auto const connection = attach();
    connection->set_event_callback(&refuse_to_listen, nullptr);

    announce_providers({});

    EXPECT_EQ(error_output.flushed_text(), "nobody listens\n");
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    EXPECT_THAT(journal.get(), ElementsAre("list:"));
}

TEST_F(provider_presence, a_throwing_event_callback_does_not_keep_the_definition_from_coming) {
    auto const connection = attach();
    announce_providers({});
    connection->set_event_callback(&refuse_to_listen, nullptr);
    nats.forget_calls();

    announce_providers({"boiler"});

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Request v1.loc.registry.providers.boiler.def.qry.read 12 5000",
            "natsConnection_Request v1.loc.boiler.vars.qry.read 36 5000"));
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
}

// Everything that an application may do from its callbacks.

TEST_F(delivered_provider_list, lets_the_callback_attach) {
    struct call {
        std::shared_ptr<provider_connection> made;
    } seen;
    consumer display{
        "display",
        true,
        [](auto /*identifiers*/, consumer& receiver, void* user_data) {
            static_cast<call*>(user_data)->made = receiver.attach_to_provider("boiler");
        },
        &seen};
    display.connect("nats://hub", "http://hub/token", "id", "secret");

    announce_providers({"boiler"});

    EXPECT_EQ(seen.made, display.attach_to_provider("boiler"));
    EXPECT_EQ(seen.made->get_state(), state::connected);
}

TEST_F(delivered_provider_list, lets_the_callback_disconnect_and_connect) {
    consumer display{
        "display",
        true,
        [](auto /*identifiers*/, consumer& receiver, void* /*user_data*/) {
            receiver.disconnect();
            receiver.connect("nats://hub", "http://hub/token", "id", "secret");
        },
        nullptr};
    display.connect("nats://hub", "http://hub/token", "id", "secret");

    announce_providers({"boiler"});

    EXPECT_TRUE(display.is_connected());
    EXPECT_THAT(display.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_EQ(nats.open_connections(), 1U);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(provider_presence, lets_the_event_callback_disconnect_the_consumer) {
    auto const connection = attach();
    connection->set_event_callback(
        [](event /*what*/, provider_connection& /*connection*/, void* user_data) {
            static_cast<consumer*>(user_data)->disconnect();
        },
        &panel);

    announce_providers({});

    EXPECT_FALSE(panel.is_connected());
    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(provider_presence, lets_the_event_callback_read_as_soon_as_the_provider_has_returned) {
    auto const connection = attach();
    announce_providers({});
    connection->set_event_callback(
        [](event /*what*/, provider_connection& returned, void* user_data) {
            returned.update_all_variables();
            static_cast<recorded<std::string>*>(user_data)->add("read");
        },
        &journal);
    journal.forget();

    announce_providers({"boiler"});

    EXPECT_THAT(journal.get(), ElementsAre("read", "list: boiler"));
    EXPECT_EQ(error_output.text(), "");
}

} // namespace

} // namespace arvenhold::corvel::hub
