// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/thrown_message.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/provider_definition_mismatch.hpp>
#include <hub/variable_index_invalid.hpp>
#include <hub/variable_read_only.hpp>

#include <gmock/gmock.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class writing : public panel_test {
protected:
    std::shared_ptr<provider_connection> const connection = attach();

    sent_command written() const {
        auto const commands = nats.published(variables_write);
        return write_command_in(commands.at(0).bytes);
    }
};

TEST_F(writing, sends_the_local_values_in_the_given_order) {
    variable(*connection, 2).set_value(70.0, at_noon);

    connection->write_variables(77, {3, 2});

    auto const command = written();
    EXPECT_EQ(command.fingerprint, 77U);
    EXPECT_THAT(
        command.items,
        ElementsAre(commanded_variable{3, std::string{"auto"}}, commanded_variable{2, 70.0}));
    EXPECT_THAT(nats.published(), SizeIs(1));
}

TEST_F(writing, stamps_the_command_with_zero) {
    connection->write_variables(77, {2});

    EXPECT_EQ(written().seconds, 0);
    EXPECT_EQ(written().nanos, 0);
}

TEST_F(writing, changes_nothing_here) {
    connection->write_variables(77, {2});

    EXPECT_EQ(
        content(*connection, 2),
        held(60.0, variable_quality::good, timestamp{std::chrono::seconds{1'600'000'002}}, 1));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(writing, of_no_ids_sends_an_empty_command) {
    connection->write_variables(77, {});

    EXPECT_THAT(written().items, IsEmpty());
    EXPECT_EQ(written().fingerprint, 77U);
}

TEST_F(writing, sends_a_variable_as_often_as_it_is_named) {
    connection->write_variables(77, {2, 2});

    EXPECT_THAT(
        written().items, ElementsAre(commanded_variable{2, 60.0}, commanded_variable{2, 60.0}));
}

TEST_F(writing, leaves_it_to_the_provider_to_refuse_a_read_only_variable) {
    connection->write_variables(77, {1});

    EXPECT_THAT(written().items, ElementsAre(commanded_variable{1, 20.5}));
}

TEST_F(writing, sends_values_of_every_type) {
    answer(
        definition_query,
        wire::definition_reply(
            78,
            {wire::defined(1, "a", wire::bool_code),
             wire::defined(2, "b", wire::duration_code),
             wire::defined(3, "c", wire::double_code),
             wire::defined(4, "d", wire::int64_code),
             wire::defined(5, "e", wire::string_code),
             wire::defined(6, "f", wire::timestamp_code)}));
    answer(variables_query, wire::read_reply(78, {}));
    connection->request_provider_definition();
    variable(*connection, 1).set_value(true, at_noon);
    variable(*connection, 2).set_value(nanoseconds{-1'000'001'999}, at_noon);
    variable(*connection, 3).set_value(-0.5, at_noon);
    variable(*connection, 4).set_value(std::int64_t{-5}, at_noon);
    variable(*connection, 5).set_value(std::string{"text"}, at_noon);
    variable(*connection, 6).set_value(timestamp{nanoseconds{-1}}, at_noon);

    connection->write_variables(78, {1, 2, 3, 4, 5, 6});

    EXPECT_THAT(
        written().items,
        ElementsAre(
            commanded_variable{1, true},
            commanded_variable{2, nanoseconds{-1'000'001'999}},
            commanded_variable{3, -0.5},
            commanded_variable{4, std::int64_t{-5}},
            commanded_variable{5, std::string{"text"}},
            commanded_variable{6, timestamp{nanoseconds{-1}}}));
}

TEST_F(writing, is_refused_unless_the_connection_is_connected) {
    auto const refusal = [&] {
        return thrown_message<operational_state_invalid>(
            [&] { connection->write_variables(77, {2}); });
    };
    auto const* const expected =
        "Consumer panel -> connection to provider boiler: cannot write variables into provider: "
        "provider connection is not in connected state";

    connection->set_provider_availability(event::provider_lost);
    EXPECT_EQ(refusal(), expected);
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    connection->set_fault_state();
    EXPECT_EQ(refusal(), expected);
    connection->disconnect();
    EXPECT_EQ(refusal(), expected);
    EXPECT_THAT(nats.published(), IsEmpty());
}

TEST_F(writing, with_a_stale_fingerprint_is_refused_and_sends_nothing) {
    auto const message =
        thrown_message<provider_definition_mismatch>([&] { connection->write_variables(76, {2}); });

    EXPECT_EQ(
        message,
        "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
        "Expected fingerprint: 77, got 76 instead.");
    EXPECT_THAT(nats.published(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(writing, of_an_unknown_id_faults_the_connection_and_sends_nothing) {
    auto const message = thrown_message<variable_index_invalid>([&] {
        connection->write_variables(77, {2, 99});
    });

    EXPECT_EQ(
        message,
        "[        99] used in function serialize_write_command(): this variable index is invalid");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_THAT(nats.published(), IsEmpty());
}

TEST_F(writing, that_cannot_be_sent_faults_the_connection) {
    nats.fail_next("natsConnection_Publish", NATS_MAX_PAYLOAD);

    auto const message =
        thrown_message<connection_failed>([&] { connection->write_variables(77, {2}); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to write variables into a provider (related sujbect: "
        "v1.loc.boiler.vars.cmd.write), NATS returns: 21 = Maximum Payload Exceeded\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
}

class writing_on_a_read_only_consumer : public panel_test {
protected:
    writing_on_a_read_only_consumer()
        : panel_test{true} {}

    std::shared_ptr<provider_connection> const connection = attach();
};

TEST_F(writing_on_a_read_only_consumer, is_refused_before_any_id_is_looked_at) {
    auto const message =
        thrown_message<variable_read_only>([&] { connection->write_variables(77, {99}); });

    EXPECT_EQ(
        message,
        "Consumer panel -> connection to provider boiler: cannot write variable data to provider, "
        "this consumer has read-only permissions");
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    EXPECT_THAT(nats.published(), IsEmpty());
}

TEST_F(writing_on_a_read_only_consumer, looks_at_state_and_fingerprint_first) {
    EXPECT_THROW(connection->write_variables(76, {2}), provider_definition_mismatch);

    connection->set_provider_availability(event::provider_lost);

    EXPECT_THROW(connection->write_variables(76, {2}), operational_state_invalid);
}

TEST_F(writing_on_a_read_only_consumer, does_not_keep_from_reading) {
    connection->read_variables(77, {1});

    EXPECT_EQ(variable(*connection, 1).get_update_count(), 2U);
}

} // namespace

} // namespace arvenhold::corvel::hub
