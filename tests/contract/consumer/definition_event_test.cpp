// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::seconds;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::NotNull;
using testing::Pair;
using testing::SizeIs;

constexpr auto nothing_received = "Received a provider definition event, but zero fingerprint or "
                                  "zero variable definitions were received\n";

class delivered_definition_event : public panel_test {
protected:
    // Attaches and lets the hub know of another definition with the one variable 9.
    std::shared_ptr<provider_connection> attach_before_a_new_definition() {
        auto connection = attach();
        answer(variables_query, wire::read_reply(78, {wire::at(wire_noon, wire::item(9, true))}));
        nats.forget_calls();
        return connection;
    }

    void announce(std::string const& bytes) {
        nats.deliver({definition_changed, bytes});
    }

    std::string const new_definition =
        wire::definition_event(78, {wire::defined(9, "running", wire::bool_code)});
};

TEST_F(delivered_definition_event, with_a_new_definition_replaces_the_variables_and_reads_them) {
    auto const connection = attach_before_a_new_definition();

    announce(new_definition);

    auto const [variables, fingerprint] = connection->get_current_variables();
    EXPECT_EQ(fingerprint, 78U);
    EXPECT_THAT(*variables, ElementsAre(Pair(9U, testing::_)));
    EXPECT_EQ(content(*connection, 9), held(true, variable_quality::good, at_noon, 1));
    EXPECT_THAT(
        nats.calls(), ElementsAre("natsConnection_Request v1.loc.boiler.vars.qry.read 28 5000"));
    EXPECT_THAT(journal.get(), ElementsAre("updated boiler"));
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_definition_event, leaves_the_variables_that_were_handed_out_as_they_are) {
    auto const connection = attach_before_a_new_definition();
    auto const before = connection->get_current_variables().variables;

    announce(new_definition);
    nats.deliver({variables_changed, wire::change_event(77, {wire::item(1, 99.0)})});

    ASSERT_THAT(*before, SizeIs(3));
    EXPECT_EQ(before->at(1)->get_value(), variable_value{20.5});
    EXPECT_EQ(before->at(1)->get_quality(), variable_quality::good);
    EXPECT_EQ(before->at(1)->get_update_count(), 1U);
}

TEST_F(delivered_definition_event, applies_whatever_mark_the_registry_set) {
    auto const connection = attach_before_a_new_definition();

    announce(wire::provider_definition_changed_event(wire::provider_definition_table{
        .fingerprint = 78,
        .variable_definitions = {{wire::defined(9, "running", wire::bool_code)}},
        .valid = 0}));

    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
}

TEST_F(delivered_definition_event, with_the_fingerprint_held_reads_again_and_calls_the_callback) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;

    announce(wire::definition_event(77, {wire::defined(9, "running", wire::bool_code)}));

    EXPECT_EQ(connection->get_current_variables().variables, before);
    EXPECT_EQ(variable(*connection, 1).get_update_count(), 2U);
    EXPECT_THAT(journal.get(), ElementsAre("updated boiler"));
}

TEST_F(delivered_definition_event, with_the_fingerprint_held_is_not_decoded_further) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;

    announce(wire::definition_event(77, {{.id = 9}})); // neither path nor type

    EXPECT_EQ(connection->get_current_variables().variables, before);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::good));
    EXPECT_THAT(journal.get(), ElementsAre("updated boiler"));
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_definition_event, needs_no_callback) {
    auto const connection = attach_before_a_new_definition();
    connection->set_event_callback(nullptr, nullptr);

    announce(new_definition);

    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_definition_event, may_lie_at_any_address) {
    auto const connection = attach_before_a_new_definition();

    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        nats.deliver({definition_changed, new_definition, std::nullopt, misalignment});
    }

    EXPECT_EQ(journal.get(), std::vector<std::string>(8, "updated boiler"));
}

TEST_F(
    delivered_definition_event,
    that_withdraws_the_definition_makes_all_values_bad_and_takes_them_away) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    nats.forget_calls();

    announce(wire::provider_definition_changed_event(std::nullopt));

    auto const [variables, fingerprint] = connection->get_current_variables();
    EXPECT_EQ(fingerprint, 0U);
    ASSERT_THAT(variables, NotNull());
    EXPECT_THAT(*variables, IsEmpty());
    for (auto const& [id, old] : *before) {
        EXPECT_EQ(old->get_quality(), variable_quality::bad) << id;
    }
    EXPECT_EQ(error_output.flushed_text(), nothing_received);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(
    delivered_definition_event, that_withdraws_the_definition_revives_no_disconnected_connection) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;
    nats.when_called("natsMsg_GetDataLength", [&] { connection->disconnect(); });

    announce(wire::provider_definition_changed_event(std::nullopt));

    EXPECT_THAT(connection->get_current_variables().variables, IsNull());
    EXPECT_EQ(connection->get_current_variables().fingerprint, 0U);
    EXPECT_EQ(connection->get_state(), state::disconnected);
    for (auto const& [id, old] : *before) { // as disconnecting has left them
        EXPECT_EQ(old->get_quality(), variable_quality::good) << id;
    }
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_definition_event, that_withdraws_the_definition_may_meet_the_end_of_the_consumer) {
    auto const connection = attach();
    nats.when_called("natsMsg_GetDataLength", [this] { panel.disconnect(); });

    announce(wire::provider_definition_changed_event(std::nullopt));

    EXPECT_THAT(connection->get_current_variables().variables, IsNull());
    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_definition_event, brings_a_withdrawn_definition_back) {
    auto const connection = attach();
    announce(wire::provider_definition_changed_event(std::nullopt));

    announce(wire::definition_event(77, boiler_variables()));

    EXPECT_EQ(connection->get_current_variables().fingerprint, 77U);
    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::good, timestamp{seconds{1'600'000'001}}, 1));
    EXPECT_THAT(journal.get(), ElementsAre("updated boiler"));
}

TEST_F(delivered_definition_event, without_variables_empties_the_map_and_is_reported) {
    auto const connection = attach();
    nats.forget_calls();

    announce(wire::definition_event(78, {}));

    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_THAT(*connection->get_current_variables().variables, IsEmpty());
    EXPECT_EQ(error_output.flushed_text(), nothing_received);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(
    delivered_definition_event, with_the_fingerprint_held_is_reported_when_there_are_no_variables) {
    answer(definition_query, wire::definition_reply(77, {}));
    answer(variables_query, wire::read_reply(77, {}));
    auto const connection = attach();

    announce(wire::definition_event(77, boiler_variables()));

    EXPECT_THAT(*connection->get_current_variables().variables, IsEmpty());
    EXPECT_EQ(error_output.flushed_text(), nothing_received);
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_definition_event, without_a_fingerprint_brings_variables_that_nobody_reads) {
    auto const connection = attach();
    nats.forget_calls();

    announce(wire::provider_definition_changed_event(
        wire::provider_definition_table{.variable_definitions = boiler_variables()}));

    EXPECT_EQ(connection->get_current_variables().fingerprint, 0U);
    EXPECT_THAT(*connection->get_current_variables().variables, SizeIs(3));
    EXPECT_EQ(error_output.flushed_text(), nothing_received);
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

struct malformed_definition {
    char const* name;
    std::string bytes;
    char const* line;
};

std::string event_of(wire::variable_definition_table const& variable) {
    return wire::definition_event(78, {variable});
}

class malformed_definition_event : public panel_test,
                                   public testing::WithParamInterface<malformed_definition> {};

TEST_P(malformed_definition_event, faults_the_connection_and_is_reported) {
    auto const connection = attach();
    nats.forget_calls();

    nats.deliver({definition_changed, GetParam().bytes});

    EXPECT_EQ(error_output.flushed_text(), GetParam().line);
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_EQ(connection->get_current_variables().fingerprint, 77U);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    malformed_definition_event,
    testing::Values(
        malformed_definition{
            "no_data",
            "",
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider definition: message data nullptr\n\n"},
        malformed_definition{
            "no_variables",
            wire::provider_definition_changed_event(wire::provider_definition_table{
                .fingerprint = 77}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider definition: message data (variable_definitions) nullptr\n\n"},
        malformed_definition{
            "no_path",
            event_of({.id = 1, .data_type = wire::bool_code}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable path nullptr\n\n"},
        malformed_definition{
            "no_type",
            event_of({.path = "temperature", .id = 12}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable index [12] is out of bounds\n\n"},
        malformed_definition{
            "type_none",
            event_of(wire::defined(0, "temperature", 0)),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable index [0] is out of bounds\n\n"},
        malformed_definition{
            "unknown_type",
            event_of(wire::defined(12, "temperature", 255)),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable definition: variable index [12] is out of bounds\n\n"}),
    case_name);

TEST_F(delivered_definition_event, whose_values_cannot_be_read_faults_the_connection) {
    auto const connection = attach();
    refuse(variables_query, NATS_TIMEOUT);

    announce(new_definition);

    EXPECT_EQ(
        error_output.flushed_text(),
        "Consumer panel: failed to read variables from a provider (related sujbect: "
        "v1.loc.boiler.vars.qry.read), NATS returns: 26 = Timeout\n\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_EQ(connection->get_current_variables().fingerprint, 78U);
    EXPECT_THAT(qualities(*connection), ElementsAre(variable_quality::bad));
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(
    delivered_definition_event, whose_values_belong_to_another_definition_faults_the_connection) {
    auto const connection = attach();

    announce(new_definition);

    EXPECT_EQ(
        error_output.flushed_text(),
        "Consumer panel -> connection to provider boiler: provider definition mismatch.\n"
        "Expected fingerprint: 78, got 77 instead.\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
}

TEST_F(delivered_definition_event, is_skipped_silently_while_the_provider_is_unavailable) {
    auto const connection = attach_before_a_new_definition();
    connection->set_provider_availability(event::provider_lost);
    journal.forget();

    announce(new_definition);

    EXPECT_EQ(error_output.text(), "");
    EXPECT_EQ(connection->get_current_variables().fingerprint, 77U);
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(delivered_definition_event, is_skipped_by_a_faulted_connection) {
    auto const connection = attach_before_a_new_definition();
    connection->set_fault_state();

    announce(new_definition);

    EXPECT_EQ(
        error_output.flushed_text(),
        "Received a provider definition event, skipping it due to invalid provider connection "
        "state\n");
    EXPECT_EQ(connection->get_current_variables().fingerprint, 77U);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(delivered_definition_event, without_a_message_faults_the_connection) {
    auto const connection = attach();

    nats.deliver_null(definition_changed);

    EXPECT_EQ(
        error_output.flushed_text(),
        "Failed to process provider definition changed event: event message unavailable\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
}

TEST_F(delivered_definition_event, reports_what_leaves_the_callback) {
    auto const connection = attach_before_a_new_definition();
    connection->set_event_callback(
        [](event /*what*/, provider_connection& /*updated*/, void* /*user_data*/) {
            throw std::runtime_error{"nobody listens"};
        },
        nullptr);

    announce(new_definition);

    EXPECT_EQ(error_output.flushed_text(), "nobody listens\n");
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(delivered_definition_event, lets_the_callback_use_the_new_variables) {
    auto const connection = attach_before_a_new_definition();
    connection->set_event_callback(
        [](event /*what*/, provider_connection& updated, void* /*user_data*/) {
            updated.read_variables(78, {9});
            variable(updated, 9).set_value(false, at_noon);
            updated.write_variables(78, {9});
        },
        nullptr);

    announce(new_definition);

    EXPECT_THAT(nats.published(variables_write), SizeIs(1));
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_definition_event, calls_nobody_when_the_connection_is_disconnected_meanwhile) {
    auto const connection = attach();
    nats.answer_requests(variables_query, [&](std::string const& /*bytes*/) {
        connection->disconnect();
        return fake_nats::request_answer{NATS_OK, wire::read_reply(78, {})};
    });

    announce(new_definition);

    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_definition_event, lets_the_callback_disconnect_the_connection) {
    auto const connection = attach_before_a_new_definition();
    connection->set_event_callback(
        [](event /*what*/, provider_connection& updated, void* /*user_data*/) {
            updated.disconnect();
        },
        nullptr);

    announce(new_definition);

    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_EQ(error_output.text(), "");
}

} // namespace

} // namespace arvenhold::corvel::hub
