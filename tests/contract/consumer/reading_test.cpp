// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/case_name.hpp"
#include "support/thrown_message.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition_mismatch.hpp>
#include <hub/serialization_fault.hpp>

#include <gmock/gmock.h>

#include <limits>
#include <optional>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto good = variable_quality::good;

class reading : public panel_test {
protected:
    // Attaches, and answers further reads with `items`.
    std::shared_ptr<provider_connection> attach_before(
        std::vector<wire::variable_table> const& items) {
        auto connection = attach();
        answer(variables_query, wire::read_reply(77, items));
        nats.forget_calls();
        return connection;
    }
};

TEST_F(reading, asks_for_the_given_ids_in_the_given_order) {
    auto const connection = attach_before({});

    connection->read_variables(77, {3, 1, 3, 99});

    EXPECT_THAT(
        requested_ids_in(nats.requests(variables_query).back().bytes), ElementsAre(3, 1, 3, 99));
    EXPECT_THAT(
        nats.calls(), ElementsAre("natsConnection_Request v1.loc.boiler.vars.qry.read 40 5000"));
}

TEST_F(reading, of_no_ids_asks_all_the_same) {
    auto const connection = attach_before(boiler_values());

    connection->read_variables(77, {});

    EXPECT_THAT(requested_ids_in(nats.requests(variables_query).back().bytes), IsEmpty());
    EXPECT_EQ(variable(*connection, 1).get_update_count(), 2U);
}

TEST_F(reading, of_all_variables_asks_for_their_ids_in_ascending_order) {
    auto const connection = attach_before(boiler_values());

    connection->update_all_variables();

    EXPECT_THAT(
        requested_ids_in(nats.requests(variables_query).back().bytes), ElementsAre(1, 2, 3));
}

TEST_F(reading, stores_quality_value_and_time_and_counts) {
    auto const connection =
        attach_before({wire::at(wire_noon, wire::item(1, 21.5, 64)), wire::item(2, 61.0)});

    connection->read_variables(77, {1, 2});

    EXPECT_EQ(content(*connection, 1), held(21.5, variable_quality::uncertain, at_noon, 2));
    EXPECT_EQ(content(*connection, 2), held(61.0, good, timestamp{}, 2));
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(reading, takes_the_time_of_the_list_for_an_item_without_one) {
    auto const connection = attach();
    answer(
        variables_query,
        wire::read_variables_query_response(wire::variable_list_table{
            .fingerprint = 77,
            .timestamp = wire_noon,
            .items = {{wire::item(1, 1.0), wire::at({-1, -500}, wire::item(2, 2.0))}}}));

    connection->update_all_variables();

    EXPECT_EQ(variable(*connection, 1).get_last_publish_timestamp(), at_noon);
    EXPECT_EQ(
        variable(*connection, 2).get_last_publish_timestamp(),
        timestamp{nanoseconds{-1'000'000'500}});
}

TEST_F(reading, takes_the_epoch_when_neither_item_nor_list_has_a_time) {
    auto const connection = attach();
    answer(
        variables_query,
        wire::read_variables_query_response(
            wire::variable_list_table{.fingerprint = 77, .items = {{wire::item(1, 1.0)}}}));

    connection->update_all_variables();

    EXPECT_EQ(content(*connection, 1), held(1.0, good, timestamp{}, 2));
}

TEST_F(reading, may_find_the_reply_at_any_address) {
    auto const connection = attach();

    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        nats.answer_requests(
            variables_query, {NATS_OK, wire::read_reply(77, boiler_values()), misalignment});
        connection->update_all_variables();
    }

    EXPECT_EQ(content(*connection, 1), held(20.5, good, timestamp{seconds{1'600'000'001}}, 9));
}

TEST_F(reading, maps_unknown_qualities_to_good_and_an_absent_one_to_bad) {
    auto const connection = attach();
    auto const quality_read_from = [&](std::optional<std::uint8_t> code) {
        auto item = wire::item(1, 1.0);
        item.quality = code;
        answer(variables_query, wire::read_reply(77, {item}));
        connection->update_all_variables();
        return variable(*connection, 1).get_quality();
    };

    EXPECT_EQ(quality_read_from(65), good);
    EXPECT_EQ(quality_read_from(255), good);
    EXPECT_EQ(quality_read_from(67), variable_quality::uncertain_last_usable_value);
    EXPECT_EQ(quality_read_from(68), variable_quality::uncertain_initial_value);
    EXPECT_EQ(quality_read_from(0), variable_quality::bad);
    EXPECT_EQ(quality_read_from(192), good);
    EXPECT_EQ(quality_read_from(std::nullopt), variable_quality::bad);
}

// Items from which a variable takes everything but a value.
struct valueless_item {
    char const* name;
    wire::variable_table item;
};

TEST_F(reading, survives_an_application_that_changes_its_map) {
    auto const connection = attach();
    auto const current = connection->get_current_variables();
    current.variables->erase(1);

    connection->update_all_variables();
    nats.deliver({variables_changed, wire::change_event(77, {wire::item(1, 21.5)})});

    EXPECT_EQ(connection->get_state(), state::connected);
}

class reading_an_item_without_a_value : public panel_test,
                                        public testing::WithParamInterface<valueless_item> {};

TEST_P(reading_an_item_without_a_value, keeps_the_value_takes_the_rest_and_counts) {
    auto const connection = attach();
    auto item = wire::at(wire_noon, GetParam().item);
    item.id = 1;
    item.quality = 64;
    answer(variables_query, wire::read_reply(77, {item}));

    connection->read_variables(77, {1});

    EXPECT_EQ(content(*connection, 1), held(20.5, variable_quality::uncertain, at_noon, 2));
    EXPECT_EQ(connection->get_state(), state::connected);
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    reading_an_item_without_a_value,
    testing::Values(
        valueless_item{"tag_absent", {}},
        valueless_item{"tag_0", {.value_type = 0}},
        valueless_item{"tag_0_beside_a_value", {.value_type = 0, .value = wire::value_table{1.0}}},
        valueless_item{"tag_absent_beside_a_value", {.value = wire::value_table{1.0}}},
        valueless_item{"unknown_tag", {.value_type = 7, .value = wire::value_table{1.0}}},
        valueless_item{"value_missing", {.value_type = wire::double_code}}),
    case_name);

TEST_F(reading, takes_the_default_of_a_value_that_is_left_out) {
    auto const connection = attach_before(
        {{.value_type = wire::double_code, .value = wire::value_table{}, .id = 1, .quality = 192}});

    connection->read_variables(77, {1});

    EXPECT_EQ(content(*connection, 1), held(0.0, good, timestamp{}, 2));
}

// What refuses a read before anything is sent.

TEST_F(reading, is_refused_unless_the_connection_is_connected) {
    auto const connection = attach_before({});
    auto const refusal = [&] {
        return thrown_message<operational_state_invalid>(
            [&] { connection->read_variables(77, {1}); });
    };
    auto const* const expected =
        "Consumer panel -> connection to provider boiler: cannot read variables from provider: "
        "provider connection is not in connected state";

    connection->set_provider_availability(event::provider_lost);
    EXPECT_EQ(refusal(), expected);
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    connection->set_fault_state();
    EXPECT_EQ(refusal(), expected);
    connection->disconnect();
    EXPECT_EQ(refusal(), expected);
    EXPECT_THAT(nats.requests(variables_query), testing::SizeIs(1));
}

TEST_F(reading, of_all_variables_is_refused_when_disconnected) {
    auto const connection = attach_before({});
    connection->disconnect();

    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { connection->update_all_variables(); }),
        "Consumer panel -> connection to provider boiler: cannot read variables from provider: "
        "provider connection is not in connected state");
}

TEST_F(reading, with_a_stale_fingerprint_is_refused_and_sends_nothing) {
    auto const connection = attach_before({});

    auto const message =
        thrown_message<provider_definition_mismatch>([&] { connection->read_variables(76, {1}); });

    EXPECT_EQ(
        message,
        "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
        "Expected fingerprint: 77, got 76 instead.");
    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(good));
}

TEST_F(reading, looks_at_the_state_before_the_fingerprint) {
    auto const connection = attach_before({});
    connection->set_provider_availability(event::provider_lost);

    EXPECT_THROW(connection->read_variables(76, {1}), operational_state_invalid);
}

// Failures of a request or its reply, which fault the connection.

class reading_with_a_failure : public panel_test, public testing::WithParamInterface<natsStatus> {};

TEST_P(reading_with_a_failure, faults_the_connection) {
    auto const connection = attach();
    refuse(variables_query, GetParam());

    auto const message =
        thrown_message<connection_failed>([&] { connection->read_variables(77, {1}); });

    EXPECT_EQ(
        message,
        std::string{"Consumer panel: failed to read variables from a provider (related sujbect: "
                    "v1.loc.boiler.vars.qry.read), NATS returns: "}
            + (GetParam() == NATS_TIMEOUT ? "26 = Timeout\n"
                                          : "34 = No responders available for request\n"));
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{20.5});
    EXPECT_THROW(connection->read_variables(77, {1}), operational_state_invalid);
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind, reading_with_a_failure, testing::Values(NATS_TIMEOUT, NATS_NO_RESPONDERS));

struct malformed_reply {
    char const* name;
    std::string bytes;
    char const* message;
};

class reading_a_malformed_reply : public panel_test,
                                  public testing::WithParamInterface<malformed_reply> {};

TEST_P(reading_a_malformed_reply, faults_the_connection) {
    auto const connection = attach();
    answer(variables_query, GetParam().bytes);

    auto const message =
        thrown_message<serialization_fault>([&] { connection->read_variables(77, {1}); });

    EXPECT_EQ(message, GetParam().message);
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_EQ(variable(*connection, 1).get_update_count(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    reading_a_malformed_reply,
    testing::Values(
        malformed_reply{
            "no_data",
            "",
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: message data nullptr\n"},
        malformed_reply{
            "no_list",
            wire::read_variables_query_response(std::nullopt),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: variable data nullptr\n"},
        malformed_reply{
            "no_items",
            wire::read_variables_query_response(wire::variable_list_table{
                .fingerprint = 77, .timestamp = wire_noon}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: variable data (items) nullptr\n"},
        malformed_reply{
            "text_without_its_text",
            wire::read_reply(
                77, {{.value_type = wire::string_code, .value = wire::value_table{}, .id = 3}}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize reply "
            "to a read request: string value nullptr\n"}),
    case_name);

TEST_F(reading, a_reply_with_a_different_fingerprint_is_refused_and_changes_nothing) {
    auto const connection = attach();
    answer(variables_query, wire::read_reply(78, {wire::item(1, 99.0)}));

    auto const message =
        thrown_message<provider_definition_mismatch>([&] { connection->read_variables(77, {1}); });

    EXPECT_EQ(
        message,
        "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
        "Expected fingerprint: 77, got 78 instead.");
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(content(*connection, 1), held(20.5, good, timestamp{seconds{1'600'000'001}}, 1));
}

TEST_F(reading, a_reply_without_a_fingerprint_has_the_fingerprint_0) {
    auto const connection = attach();
    answer(
        variables_query,
        wire::read_variables_query_response(
            wire::variable_list_table{.timestamp = wire_noon, .items = {{wire::item(1, 99.0)}}}));

    EXPECT_EQ(
        thrown_message<provider_definition_mismatch>([&] { connection->read_variables(77, {1}); }),
        "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
        "Expected fingerprint: 77, got 0 instead.");
}

TEST_F(reading, an_unknown_id_faults_the_connection_and_keeps_what_came_before) {
    auto const connection =
        attach_before({wire::item(2, 61.0), wire::item(99, 1.0), wire::item(1, 21.0)});

    auto const message = thrown_message<std::exception>([&] {
        connection->read_variables(77, {2, 99, 1});
    });

    EXPECT_EQ(
        message, "[        99] used in function read_variables(): this variable index is invalid");
    EXPECT_EQ(content(*connection, 2), held(61.0, variable_quality::bad, timestamp{}, 2));
    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::bad, timestamp{seconds{1'600'000'001}}, 1));
    EXPECT_EQ(connection->get_state(), state::faulted);
}

TEST_F(reading, a_value_of_another_type_faults_the_connection_and_keeps_what_came_before) {
    auto const connection = attach_before(
        {wire::item(2, 61.0), wire::item(1, std::int64_t{21}), wire::item(3, "manual")});

    auto const message = thrown_message<std::exception>([&] {
        connection->read_variables(77, {2, 1, 3});
    });

    EXPECT_EQ(
        message,
        "[         1] set_value(): incompatible source data type (source type index: 2, dest type "
        "index: 1)");
    EXPECT_EQ(variable(*connection, 2).get_value(), variable_value{61.0});
    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::bad, timestamp{seconds{1'600'000'001}}, 1));
    EXPECT_EQ(variable(*connection, 3).get_value(), variable_value{"auto"});
    EXPECT_EQ(connection->get_state(), state::faulted);
}

// What happens to the connection while the provider takes its time.

TEST_F(reading, lands_on_the_old_variables_when_the_definition_is_replaced_meanwhile) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        answer(variables_query, wire::read_reply(78, {}));
        nats.deliver(
            {definition_changed,
             wire::definition_event(78, {wire::defined(1, "level", wire::int64_code)})});
        return fake_nats::request_answer{NATS_OK, wire::read_reply(77, {wire::item(1, 99.0)})};
    });

    connection->read_variables(77, {1});

    EXPECT_EQ(before->at(1)->get_value(), variable_value{99.0});
    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{std::int64_t{0}});
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(reading, finishes_on_the_old_variables_when_the_connection_is_disconnected_meanwhile) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        connection->disconnect();
        return fake_nats::request_answer{NATS_OK, wire::read_reply(77, {wire::item(1, 99.0)})};
    });

    connection->read_variables(77, {1});

    EXPECT_EQ(before->at(1)->get_value(), variable_value{99.0});
    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_THAT(connection->get_current_variables().variables, testing::IsNull());
}

TEST_F(reading, a_definition_for_a_connection_that_is_disconnected_meanwhile_is_not_kept) {
    auto const connection = attach();
    nats.answer_requests(definition_query, [&](std::string const& /*bytes*/) {
        connection->disconnect();
        return fake_nats::request_answer{NATS_OK, wire::definition_reply(78, boiler_variables())};
    });

    EXPECT_THROW(connection->request_provider_definition(), operational_state_invalid);

    EXPECT_THAT(connection->get_current_variables().variables, testing::IsNull());
    EXPECT_EQ(connection->get_current_variables().fingerprint, 0U);
}

TEST_F(reading, that_fails_after_a_disconnect_meanwhile_leaves_no_variables) {
    auto const connection = attach();
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        connection->disconnect();
        return fake_nats::request_answer{NATS_TIMEOUT};
    });

    EXPECT_THROW(connection->read_variables(77, {1}), connection_failed);

    EXPECT_THAT(connection->get_current_variables().variables, testing::IsNull());
}

// Which variables have been updated since a point in time.

class updated_variables : public panel_test {
protected:
    static timestamp second(std::int64_t count) {
        return timestamp{seconds{count}};
    }
};

TEST_F(updated_variables, include_one_that_was_updated_at_that_very_time) {
    auto const connection = attach();

    EXPECT_THAT(
        connection->get_updated_variables_since(77, second(1'600'000'002)), ElementsAre(2, 3));
    EXPECT_THAT(
        connection->get_updated_variables_since(77, second(1'600'000'002) + nanoseconds{1}),
        ElementsAre(3));
}

TEST_F(updated_variables, come_in_ascending_order_of_their_ids) {
    auto const connection = attach();
    answer(
        variables_query, wire::read_reply(77, {wire::at({2'000'000'000, 0}, wire::item(1, 1.0))}));
    connection->read_variables(77, {1});

    EXPECT_THAT(
        connection->get_updated_variables_since(77, second(1'600'000'003)), ElementsAre(1, 3));
}

TEST_F(updated_variables, are_none_after_the_last_update_and_all_before_the_first) {
    auto const connection = attach();

    EXPECT_THAT(connection->get_updated_variables_since(77, second(1'600'000'004)), IsEmpty());
    EXPECT_THAT(
        connection->get_updated_variables_since(
            77, timestamp{nanoseconds{std::numeric_limits<std::int64_t>::min()}}),
        ElementsAre(1, 2, 3));
}

TEST_F(updated_variables, include_one_that_the_application_has_set) {
    auto const connection = attach();

    variable(*connection, 2).set_value(70.0, at_noon);

    EXPECT_THAT(connection->get_updated_variables_since(77, at_noon), ElementsAre(2));
}

TEST_F(updated_variables, are_asked_for_in_every_state) {
    auto const connection = attach();

    connection->set_provider_availability(event::provider_lost);
    EXPECT_THAT(connection->get_updated_variables_since(77, timestamp{}), ElementsAre(1, 2, 3));
    connection->set_fault_state();
    EXPECT_THAT(connection->get_updated_variables_since(77, timestamp{}), ElementsAre(1, 2, 3));
    connection->disconnect();
    EXPECT_THAT(connection->get_updated_variables_since(0, timestamp{}), IsEmpty());
}

TEST_F(updated_variables, of_another_definition_are_refused) {
    auto const connection = attach();

    EXPECT_EQ(
        thrown_message<provider_definition_mismatch>(
            [&] { connection->get_updated_variables_since(18446744073709551615U, timestamp{}); }),
        "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
        "Expected fingerprint: 77, got 18446744073709551615 instead.");
    EXPECT_EQ(connection->get_state(), state::connected);
}

} // namespace

} // namespace arvenhold::corvel::hub
