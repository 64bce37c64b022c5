// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/case_name.hpp"
#include "support/thrown_message.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>

#include <gmock/gmock.h>

#include <functional>
#include <optional>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

class attaching : public panel_test {};

TEST_F(attaching, fetches_the_definition_and_the_values_and_then_listens) {
    connect();
    nats.forget_calls();

    auto const connection = panel.attach_to_provider("boiler");

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Request v1.loc.registry.providers.boiler.def.qry.read 12 5000",
            "natsConnection_Request v1.loc.boiler.vars.qry.read 36 5000",
            "natsConnection_Subscribe v1.loc.registry.providers.boiler.def.evt.changed",
            "natsConnection_Subscribe v1.loc.boiler.vars.evt.changed",
            "natsConnection_FlushTimeout 1000"));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(connection->get_associated_provider_identifier(), "boiler");
    EXPECT_EQ(connection->get_current_variables().fingerprint, 77U);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(attaching, requests_the_definition_with_an_empty_table_and_the_values_of_all_variables) {
    attach();

    EXPECT_EQ(
        nats.requests(definition_query).front().bytes,
        (std::string{"\x08\0\0\0\x04\0\x04\0\x04\0\0\0", 12}));
    EXPECT_THAT(
        requested_ids_in(nats.requests(variables_query).front().bytes), ElementsAre(1, 2, 3));
}

TEST_F(attaching, makes_the_variables_and_gives_them_their_values) {
    auto const connection = attach();

    auto const variables = connection->get_current_variables().variables;
    ASSERT_THAT(*variables, SizeIs(3));
    EXPECT_EQ(variables->at(1)->get_path(), "temperature");
    EXPECT_EQ(variables->at(1)->get_permissions(), variable_permissions::read_only);
    EXPECT_EQ(variables->at(2)->get_path(), "set_point");
    EXPECT_EQ(variables->at(2)->get_permissions(), variable_permissions::read_write);
    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::good, timestamp{seconds{1'600'000'001}}, 1));
    EXPECT_EQ(
        content(*connection, 3),
        held("auto", variable_quality::good, timestamp{seconds{1'600'000'003}}, 1));
}

TEST_F(attaching, twice_to_the_same_identifier_returns_the_same_object) {
    auto const connection = attach();
    nats.forget_calls();

    EXPECT_EQ(panel.attach_to_provider("boiler"), connection);
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(attaching, to_two_providers_makes_two_connections) {
    answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
    answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));

    auto const boiler = attach();
    auto const pump = panel.attach_to_provider("pump");

    EXPECT_NE(boiler, pump);
    EXPECT_EQ(pump->get_associated_provider_identifier(), "pump");
    EXPECT_EQ(pump->get_current_variables().fingerprint, 5U);
}

TEST_F(attaching, does_not_need_the_provider_to_be_listed) {
    answer(providers_query, wire::provider_list_reply({}));

    EXPECT_EQ(attach()->get_state(), state::connected);
}

TEST_F(attaching, pastes_an_identifier_with_dots_into_every_subject) {
    answer("v1.loc.registry.providers.hall.2.boiler.def.qry.read", wire::definition_reply(5, {}));
    answer("v1.loc.hall.2.boiler.vars.qry.read", wire::read_reply(5, {}));
    connect();

    panel.attach_to_provider("hall.2.boiler");

    EXPECT_THAT(
        nats.open_subjects(),
        ElementsAre(
            "v1.loc.registry.providers.evt.changed",
            "v1.loc.registry.providers.hall.2.boiler.def.evt.changed",
            "v1.loc.hall.2.boiler.vars.evt.changed"));
}

TEST_F(attaching, without_being_connected_is_refused_and_stores_nothing) {
    auto const message =
        thrown_message<operational_state_invalid>([this] { panel.attach_to_provider("boiler"); });

    EXPECT_EQ(
        message,
        "Consumer panel: cannot set up a connection with a provider: not currently connected to "
        "the corvel-hub\n");
    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_EQ(attach()->get_state(), state::connected);
}

TEST_F(attaching, after_disconnecting_is_refused) {
    attach();
    panel.disconnect();

    EXPECT_THROW(panel.attach_to_provider("boiler"), operational_state_invalid);
}

TEST_F(attaching, tolerates_that_the_server_does_not_confirm_the_subscriptions) {
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);

    auto const connection = attach();

    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(attaching, across_a_disconnect_and_a_connect_is_refused_and_stores_nothing) {
    connect();
    nats.when_called("natsConnection_FlushTimeout", [this] { // the last step of attaching
        panel.disconnect();
        connect();
    });

    auto const message =
        thrown_message<operational_state_invalid>([this] { panel.attach_to_provider("boiler"); });

    EXPECT_EQ(
        message,
        "Consumer panel: cannot set up a connection with a provider: not currently connected to "
        "the corvel-hub\n");
    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(nats.open_subjects(), ElementsAre("v1.loc.registry.providers.evt.changed"));
    EXPECT_EQ(attach()->get_state(), state::connected);
}

// Each step of attaching, and what goes wrong there.
struct failing_attach {
    char const* name;
    std::function<void(fake_nats&)> spoil;
    char const* message;
};

void spoil_answer(fake_nats& nats, std::string const& subject, std::string const& bytes) {
    nats.answer_requests(subject, {NATS_OK, bytes});
}

auto definition_answered_with(std::string const& bytes) {
    return [bytes](fake_nats& nats) {
        spoil_answer(nats, definition_query, bytes);
    };
}

auto definition_of(wire::variable_definition_table const& variable) {
    return definition_answered_with(wire::definition_reply(77, {variable}));
}

auto values_answered_with(std::string const& bytes) {
    return [bytes](fake_nats& nats) {
        spoil_answer(nats, variables_query, bytes);
    };
}

auto failing(char const* function, natsStatus status, std::size_t nth = 1) {
    return [=](fake_nats& nats) {
        nats.fail_next(function, status, nth);
    };
}

class attaching_with_a_failure : public panel_test,
                                 public testing::WithParamInterface<failing_attach> {};

TEST_P(attaching_with_a_failure, throws_and_attaches_nothing) {
    connect();
    GetParam().spoil(nats);

    auto const message =
        thrown_message<std::exception>([this] { panel.attach_to_provider("boiler"); });

    EXPECT_EQ(message, GetParam().message);
    EXPECT_THAT(nats.open_subjects(), ElementsAre("v1.loc.registry.providers.evt.changed"));
    EXPECT_EQ(error_output.text(), "");
    EXPECT_TRUE(panel.is_connected());
}

TEST_P(attaching_with_a_failure, can_be_repeated) {
    connect();
    GetParam().spoil(nats);
    EXPECT_THROW(panel.attach_to_provider("boiler"), std::exception);
    answer(definition_query, wire::definition_reply(77, boiler_variables()));
    answer(variables_query, wire::read_reply(77, boiler_values()));

    auto const connection = panel.attach_to_provider("boiler");

    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(*connection->get_current_variables().variables, SizeIs(3));
}

TEST_P(attaching_with_a_failure, stores_nothing_that_a_list_or_the_end_could_concern) {
    connect();
    GetParam().spoil(nats);
    EXPECT_THROW(panel.attach_to_provider("boiler"), std::exception);
    nats.forget_calls();

    announce_providers({"pump"});
    announce_providers({"boiler"});
    panel.disconnect();

    EXPECT_THAT(nats.requests(definition_query), SizeIs(1)); // none for a provider that returns
    EXPECT_THAT(nats.calls(), Contains("natsConnection_Close"));
    EXPECT_EQ(error_output.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    fetching_the_definition,
    attaching_with_a_failure,
    testing::Values(
        failing_attach{
            "not_answered",
            failing("natsConnection_Request", NATS_TIMEOUT),
            "Consumer panel: failed to request a provider definition (related sujbect: "
            "v1.loc.registry.providers.boiler.def.qry.read), NATS returns: 26 = Timeout\n"},
        failing_attach{
            "no_registry",
            failing("natsConnection_Request", NATS_NO_RESPONDERS),
            "Consumer panel: failed to request a provider definition (related sujbect: "
            "v1.loc.registry.providers.boiler.def.qry.read), NATS returns: 34 = No responders "
            "available for request\n"},
        failing_attach{
            "no_data",
            definition_answered_with(""),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider definition: message data nullptr\n"},
        failing_attach{
            "no_definition",
            definition_answered_with(wire::read_provider_definition_query_response(std::nullopt)),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider definition: message data (provider_definition_reply) nullptr\n"},
        failing_attach{
            "no_variables",
            definition_answered_with(wire::read_provider_definition_query_response(
                wire::provider_definition_table{.fingerprint = 77})),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider definition: message data (variable_definitions) nullptr\n"},
        failing_attach{
            "no_path",
            definition_of({.id = 1, .data_type = wire::bool_code}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable path nullptr\n"},
        failing_attach{
            "no_type",
            definition_of({.path = "temperature", .id = 1}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable index [1] is out of bounds\n"},
        failing_attach{
            "type_none",
            definition_of(wire::defined(4294967295U, "temperature", 0)),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable index [4294967295] is out of bounds\n"},
        failing_attach{
            "unknown_type",
            definition_of(wire::defined(1, "temperature", 7)),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable index [1] is out of bounds\n"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    reading_the_values,
    attaching_with_a_failure,
    testing::Values(
        failing_attach{
            "not_answered",
            failing("natsConnection_Request", NATS_TIMEOUT, 2),
            "Consumer panel: failed to read variables from a provider (related sujbect: "
            "v1.loc.boiler.vars.qry.read), NATS returns: 26 = Timeout\n"},
        failing_attach{
            "no_data",
            values_answered_with(""),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: message data nullptr\n"},
        failing_attach{
            "no_list",
            values_answered_with(wire::read_variables_query_response(std::nullopt)),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: variable data nullptr\n"},
        failing_attach{
            "no_items",
            values_answered_with(wire::read_variables_query_response(wire::variable_list_table{
                .fingerprint = 77, .timestamp = wire_noon})),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: variable data (items) nullptr\n"},
        failing_attach{
            "other_fingerprint",
            values_answered_with(wire::read_reply(78, {})),
            "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
            "Expected fingerprint: 77, got 78 instead."},
        failing_attach{
            "unknown_id",
            values_answered_with(wire::read_reply(77, {wire::item(99, 1.0)})),
            "[        99] used in function read_variables(): this variable index is invalid"},
        failing_attach{
            "other_type",
            values_answered_with(wire::read_reply(77, {wire::item(1, true)})),
            "[         1] set_value(): incompatible source data type (source type index: 0, dest "
            "type index: 1)"}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    listening,
    attaching_with_a_failure,
    testing::Values(
        failing_attach{
            "definition",
            failing("natsConnection_Subscribe", NATS_INVALID_SUBJECT),
            "Consumer panel: failed to subscribe to a provider definition changed event (related "
            "sujbect: v1.loc.registry.providers.boiler.def.evt.changed), NATS returns: 15 = "
            "Invalid Subject\n"},
        failing_attach{
            "variables",
            failing("natsConnection_Subscribe", NATS_CONNECTION_CLOSED, 2),
            "Consumer panel: failed to subscribe to a variables changed event (related sujbect: "
            "v1.loc.boiler.vars.evt.changed), NATS returns: 5 = Connection Closed\n"}),
    case_name);

class creating_a_connection : public panel_test {};

TEST_F(creating_a_connection, makes_one_that_the_consumer_does_not_keep) {
    connect();

    auto const connection = provider_connection::create("boiler", panel);

    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_NE(panel.attach_to_provider("boiler"), connection);
}

TEST_F(creating_a_connection, ends_its_subscriptions_with_the_object) {
    connect();

    provider_connection::create("boiler", panel);

    EXPECT_THAT(nats.open_subjects(), ElementsAre("v1.loc.registry.providers.evt.changed"));
}

TEST_F(creating_a_connection, is_refused_without_a_connected_consumer) {
    EXPECT_EQ(
        thrown_message<operational_state_invalid>(
            [this] { provider_connection::create("boiler", panel); }),
        "Consumer panel: cannot set up a connection with a provider: not currently connected to "
        "the corvel-hub\n");
}

TEST_F(creating_a_connection, makes_one_that_refuses_everything_when_the_consumer_is_gone) {
    auto display = std::make_unique<consumer>("display", false, nullptr, nullptr);
    display->connect("nats://hub", "http://hub/token", "id", "secret");
    auto const connection = provider_connection::create("boiler", *display);
    nats.forget_calls();

    display.reset();

    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { connection->update_all_variables(); }),
        "Consumer display -> connection to provider boiler: cannot read variables from provider: "
        "provider connection is not in connected state");
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { connection->write_variables(77, {2}); }),
        "Consumer display -> connection to provider boiler: cannot write variables into provider: "
        "provider connection is not in connected state");
}

// What a definition makes of its variables.

class received_definition_test : public panel_test {
protected:
    std::shared_ptr<provider_connection> attach_to(
        std::vector<wire::variable_definition_table> const& variables) {
        answer(definition_query, wire::definition_reply(77, variables));
        answer(variables_query, wire::read_reply(77, {}));
        return attach();
    }
};

TEST_F(received_definition_test, starts_a_time_point_with_the_decoding_time_and_others_with_zero) {
    timestamp const before = std::chrono::system_clock::now();

    auto const connection = attach_to(
        {wire::defined(1, "a", wire::bool_code),
         wire::defined(2, "b", wire::duration_code),
         wire::defined(3, "c", wire::double_code),
         wire::defined(4, "d", wire::int64_code),
         wire::defined(5, "e", wire::string_code),
         wire::defined(6, "f", wire::timestamp_code)});

    timestamp const after = std::chrono::system_clock::now();
    auto const never_read = [](variable_value value) {
        return held(std::move(value), variable_quality::good, timestamp{}, 0);
    };
    EXPECT_EQ(content(*connection, 1), never_read(false));
    EXPECT_EQ(content(*connection, 2), never_read(nanoseconds{0}));
    EXPECT_EQ(content(*connection, 3), never_read(0.0));
    EXPECT_EQ(content(*connection, 4), never_read(std::int64_t{0}));
    EXPECT_EQ(content(*connection, 5), never_read(std::string{}));
    auto const initial = std::get<timestamp>(variable(*connection, 6).get_value());
    EXPECT_LE(before, initial);
    EXPECT_LE(initial, after);
    EXPECT_EQ(variable(*connection, 6).get_last_publish_timestamp(), timestamp{});
}

TEST_F(received_definition_test, lets_only_access_2_be_written) {
    auto const connection = attach_to(
        {{.path = "absent", .id = 1, .data_type = wire::bool_code},
         wire::defined(2, "zero", wire::bool_code, 0),
         wire::defined(3, "one", wire::bool_code, 1),
         wire::defined(4, "two", wire::bool_code, 2),
         wire::defined(5, "seven", wire::bool_code, 7)});

    auto const permissions = [&](variable_id id) {
        return variable(*connection, id).get_permissions();
    };
    EXPECT_EQ(permissions(1), variable_permissions::read_only);
    EXPECT_EQ(permissions(2), variable_permissions::read_only);
    EXPECT_EQ(permissions(3), variable_permissions::read_only);
    EXPECT_EQ(permissions(4), variable_permissions::read_write);
    EXPECT_EQ(permissions(5), variable_permissions::read_only);
}

TEST_F(received_definition_test, with_two_entries_of_the_same_id_keeps_the_first) {
    auto const connection = attach_to(
        {wire::defined(1, "first", wire::bool_code),
         wire::defined(1, "second", wire::double_code)});

    ASSERT_THAT(*connection->get_current_variables().variables, SizeIs(1));
    EXPECT_EQ(variable(*connection, 1).get_path(), "first");
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{false});
}

TEST_F(received_definition_test, updates_the_first_of_two_entries_wherever_the_second_stands) {
    answer(
        definition_query,
        wire::definition_reply(
            77,
            {wire::defined(1, "other", wire::bool_code),
             wire::defined(3, "first", wire::bool_code),
             wire::defined(3, "second", wire::bool_code)}));
    answer(variables_query, wire::read_reply(77, {wire::item(3, true)}));

    auto const connection = attach();

    EXPECT_EQ(variable(*connection, 3).get_path(), "first");
    EXPECT_EQ(variable(*connection, 3).get_value(), variable_value{true});
}

TEST_F(received_definition_test, keeps_its_variables_as_long_as_one_of_them_is_used) {
    std::shared_ptr<consumer_variable> kept;
    {
        auto const connection = attach_to({wire::defined(1, "first", wire::bool_code)});
        kept = connection->get_current_variables().variables->at(1);
        answer(definition_query, wire::definition_reply(78, {}));
        answer(variables_query, wire::read_reply(78, {}));
        connection->request_provider_definition();
    }

    EXPECT_EQ(kept->get_path(), "first");
    EXPECT_EQ(kept->get_value(), variable_value{false});
}

TEST_F(received_definition_test, takes_an_absent_id_for_0) {
    auto const connection = attach_to({{.path = "first", .data_type = wire::bool_code}});

    EXPECT_EQ(variable(*connection, 0).get_id(), 0U);
}

TEST_F(received_definition_test, orders_the_variables_by_id) {
    auto const connection = attach_to(
        {wire::defined(9, "nine", wire::bool_code), wire::defined(4, "four", wire::bool_code)});

    EXPECT_THAT(
        *connection->get_current_variables().variables,
        ElementsAre(Pair(4U, testing::_), Pair(9U, testing::_)));
    EXPECT_THAT(requested_ids_in(nats.requests(variables_query).front().bytes), ElementsAre(4, 9));
}

TEST_F(received_definition_test, may_have_no_variables) {
    auto const connection = attach_to({});

    EXPECT_THAT(*connection->get_current_variables().variables, IsEmpty());
    EXPECT_EQ(connection->get_current_variables().fingerprint, 77U);
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(received_definition_test, need_not_be_valid) {
    answer(
        definition_query,
        wire::read_provider_definition_query_response(wire::provider_definition_table{
            .fingerprint = 77, .variable_definitions = boiler_variables(), .valid = 0}));

    EXPECT_THAT(*attach()->get_current_variables().variables, SizeIs(3));
}

TEST_F(received_definition_test, with_fingerprint_0_is_taken_for_the_one_that_is_held) {
    answer(definition_query, wire::definition_reply(0, boiler_variables()));
    answer(variables_query, wire::read_reply(0, {}));

    EXPECT_THAT(*attach()->get_current_variables().variables, IsEmpty());
}

class requesting_the_definition : public panel_test {};

TEST_F(
    requesting_the_definition, with_the_fingerprint_already_held_leaves_all_variables_untouched) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    answer(
        definition_query, wire::definition_reply(77, {wire::defined(9, "level", wire::bool_code)}));
    answer(variables_query, wire::read_reply(77, {}));

    connection->request_provider_definition();

    EXPECT_EQ(connection->get_current_variables().variables, before);
    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::good, timestamp{seconds{1'600'000'001}}, 1));
}

TEST_F(requesting_the_definition, reads_all_variables_once_more) {
    auto const connection = attach();
    answer(variables_query, wire::read_reply(77, {wire::at(wire_noon, wire::item(1, 99.0))}));

    connection->request_provider_definition();

    EXPECT_EQ(content(*connection, 1), held(99.0, variable_quality::good, at_noon, 2));
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(requesting_the_definition, with_another_fingerprint_replaces_the_variables) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    answer(
        definition_query, wire::definition_reply(78, {wire::defined(9, "level", wire::bool_code)}));
    answer(variables_query, wire::read_reply(78, {wire::item(9, true)}));

    connection->request_provider_definition();

    auto const after = connection->get_current_variables();
    EXPECT_EQ(after.fingerprint, 78U);
    EXPECT_THAT(*after.variables, ElementsAre(Pair(9U, testing::_)));
    EXPECT_THAT(*before, SizeIs(3));
}

TEST_F(requesting_the_definition, with_the_fingerprint_held_is_not_decoded_further) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    answer(definition_query, wire::definition_reply(77, {{.id = 9}})); // neither path nor type

    connection->request_provider_definition();

    EXPECT_EQ(connection->get_current_variables().variables, before);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(variable(*connection, 1).get_update_count(), 2U);
}

TEST_F(requesting_the_definition, faults_the_connection_when_it_fails) {
    auto const connection = attach();
    refuse(definition_query, NATS_TIMEOUT);

    EXPECT_THROW(connection->request_provider_definition(), connection_failed);

    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), testing::Each(variable_quality::bad));
}

TEST_F(requesting_the_definition, faults_the_connection_when_the_reply_is_malformed) {
    auto const connection = attach();
    answer(definition_query, "");

    EXPECT_THROW(connection->request_provider_definition(), std::exception);

    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), testing::Each(variable_quality::bad));
}

TEST_F(requesting_the_definition, faults_the_connection_when_reading_fails) {
    auto const connection = attach();
    answer(variables_query, wire::read_reply(78, {}));

    EXPECT_THROW(connection->request_provider_definition(), std::exception);

    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), testing::Each(variable_quality::bad));
}

TEST_F(requesting_the_definition, is_refused_unless_the_connection_is_connected) {
    auto const connection = attach();
    auto const refusal = [&] {
        nats.forget_calls();
        auto message = thrown_message<operational_state_invalid>(
            [&] { connection->request_provider_definition(); });
        EXPECT_THAT(nats.calls(), IsEmpty());
        return message;
    };
    auto const* const expected =
        "Consumer panel -> connection to provider boiler: query the provider definition from "
        "provider failed: provider connection is not in connected state";

    connection->set_provider_availability(event::provider_lost);
    EXPECT_EQ(refusal(), expected);
    connection->set_fault_state();
    EXPECT_EQ(refusal(), expected);
    connection->disconnect();
    EXPECT_EQ(refusal(), expected);
}

} // namespace

} // namespace arvenhold::corvel::hub
