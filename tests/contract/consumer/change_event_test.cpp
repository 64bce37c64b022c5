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
using testing::SizeIs;

constexpr auto good = variable_quality::good;

class delivered_change_event : public panel_test {
protected:
    std::shared_ptr<provider_connection> const connection = attach();

    void deliver(std::string const& bytes) {
        nats.deliver({variables_changed, bytes});
    }
};

TEST_F(delivered_change_event, applies_every_item_with_the_time_of_the_event) {
    deliver(wire::change_event(77, {wire::item(3, "manual"), wire::item(1, 21.5, 64)}, wire_noon));

    EXPECT_EQ(content(*connection, 3), held("manual", good, at_noon, 2));
    EXPECT_EQ(content(*connection, 1), held(21.5, variable_quality::uncertain, at_noon, 2));
    EXPECT_EQ(variable(*connection, 2).get_update_count(), 1U);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_change_event, reports_every_id_in_its_order_even_when_the_value_did_not_change) {
    deliver(
        wire::change_event(77, {wire::item(3, "auto"), wire::item(1, 21.5), wire::item(1, 22.5)}));

    EXPECT_THAT(journal.get(), ElementsAre("changed boiler 77: 3 1 1"));
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{22.5});
}

TEST_F(delivered_change_event, without_items_is_reported_too) {
    deliver(wire::change_event(77, {}));

    EXPECT_THAT(journal.get(), ElementsAre("changed boiler 77:"));
}

TEST_F(delivered_change_event, takes_the_own_time_of_an_item_that_has_one) {
    deliver(wire::change_event(77, {wire::at({-1, 0}, wire::item(1, 21.5))}, wire_noon));

    EXPECT_EQ(variable(*connection, 1).get_last_publish_timestamp(), timestamp{seconds{-1}});
}

TEST_F(delivered_change_event, without_its_time_stamps_items_without_their_own_with_the_epoch) {
    deliver(wire::variables_changed_event(wire::variable_list_table{
        .fingerprint = 77,
        .items = {{wire::item(1, 21.5), wire::at(wire_noon, wire::item(2, 61.0))}}}));

    EXPECT_EQ(content(*connection, 1), held(21.5, good, timestamp{}, 2));
    EXPECT_EQ(content(*connection, 2), held(61.0, good, at_noon, 2));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), ElementsAre("changed boiler 77: 1 2"));
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_change_event, may_lie_at_any_address) {
    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        nats.deliver(
            {variables_changed,
             wire::change_event(77, {wire::item(1, 21.5)}, wire_noon),
             std::nullopt,
             misalignment});
    }

    EXPECT_EQ(content(*connection, 1), held(21.5, good, at_noon, 9));
}

TEST_F(delivered_change_event, without_a_value_keeps_the_value_takes_the_rest_and_counts) {
    deliver(wire::change_event(77, {{.value_type = 0, .id = 1, .quality = 67}}, wire_noon));

    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::uncertain_last_usable_value, at_noon, 2));
    EXPECT_THAT(journal.get(), ElementsAre("changed boiler 77: 1"));
}

TEST_F(delivered_change_event, for_an_older_fingerprint_is_dropped_without_a_trace) {
    deliver(wire::change_event(76, {wire::item(99, 21.5)}));

    EXPECT_EQ(content(*connection, 1), held(20.5, good, timestamp{seconds{1'600'000'001}}, 1));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_change_event, for_an_older_fingerprint_is_dropped_whatever_it_lacks) {
    deliver(wire::variables_changed_event(wire::variable_list_table{.fingerprint = 76}));

    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_change_event, without_a_fingerprint_is_one_for_0) {
    deliver(wire::variables_changed_event(
        wire::variable_list_table{.timestamp = wire_noon, .items = {{wire::item(1, 21.5)}}}));

    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{20.5});
    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(delivered_change_event, is_applied_while_the_provider_is_marked_unavailable) {
    connection->set_provider_availability(event::provider_lost);
    journal.forget();

    deliver(wire::change_event(77, {wire::item(1, 21.5)}, wire_noon));

    EXPECT_EQ(content(*connection, 1), held(21.5, good, at_noon, 2));
    EXPECT_EQ(variable(*connection, 2).get_quality(), variable_quality::bad);
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
    EXPECT_THAT(journal.get(), ElementsAre("changed boiler 77: 1"));
}

TEST_F(delivered_change_event, is_skipped_by_a_faulted_connection) {
    connection->set_fault_state();

    deliver(wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_EQ(
        error_output.flushed_text(),
        "Received a variables changed event, skipping it due to invalid provider connection "
        "state\n");
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{20.5});
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_change_event, without_a_message_faults_the_connection) {
    nats.deliver_null(variables_changed);

    EXPECT_EQ(
        error_output.flushed_text(),
        "Failed to process variables changed event: event message unavailable\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
}

struct malformed_change {
    char const* name;
    std::string bytes;
    char const* line;
};

class malformed_change_event : public panel_test,
                               public testing::WithParamInterface<malformed_change> {};

TEST_P(malformed_change_event, faults_the_connection_and_is_reported) {
    auto const connection = attach();

    nats.deliver({variables_changed, GetParam().bytes});

    EXPECT_EQ(error_output.flushed_text(), GetParam().line);
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_THAT(journal.get(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    malformed_change_event,
    testing::Values(
        malformed_change{
            "no_data",
            "",
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable update: message data nullptr\n\n"},
        malformed_change{
            "no_list",
            wire::variables_changed_event(std::nullopt),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable update: variable data nullptr\n\n"},
        malformed_change{
            "no_items",
            wire::variables_changed_event(wire::variable_list_table{
                .fingerprint = 77, .timestamp = wire_noon}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable update: variable data (items) nullptr\n\n"},
        malformed_change{
            "text_without_its_text",
            wire::change_event(
                77, {{.value_type = wire::string_code, .value = wire::value_table{}, .id = 3}}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "variable update: string value nullptr\n\n"},
        malformed_change{
            "unknown_id",
            wire::change_event(77, {wire::item(4294967295U, 21.5)}),
            "[4294967295] used in function deserialize_variable_update(): this variable index is "
            "invalid\n"},
        malformed_change{
            "other_type",
            wire::change_event(77, {wire::item(1, "hot")}),
            "[         1] set_value(): incompatible source data type (source type index: 3, dest "
            "type index: 1)\n"}),
    case_name);

TEST_F(delivered_change_event, with_an_unknown_id_keeps_what_came_before_and_calls_nobody) {
    deliver(
        wire::change_event(77, {wire::item(2, 61.0), wire::item(99, 1.0), wire::item(1, 21.5)}));

    EXPECT_EQ(
        error_output.flushed_text(),
        "[        99] used in function deserialize_variable_update(): this variable index is "
        "invalid\n");
    EXPECT_EQ(variable(*connection, 2).get_value(), variable_value{61.0});
    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{20.5});
    EXPECT_EQ(connection->get_state(), state::faulted);
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(delivered_change_event, with_a_value_of_another_type_leaves_that_value_as_it_was) {
    deliver(wire::change_event(77, {wire::item(2, 61.0), wire::item(1, true)}, wire_noon));

    EXPECT_EQ(content(*connection, 2), held(61.0, variable_quality::bad, at_noon, 2));
    EXPECT_EQ(
        content(*connection, 1),
        held(20.5, variable_quality::bad, timestamp{seconds{1'600'000'001}}, 1));
}

class changes_callback : public delivered_change_event {};

TEST_F(changes_callback, gets_fingerprint_ids_connection_and_user_data) {
    struct call {
        definition_fingerprint fingerprint = 0;
        std::vector<variable_id> changed;
        provider_connection* about = nullptr;
    } seen;
    connection->set_variables_changed_callback(
        [](auto fingerprint, auto changed, provider_connection& about, void* user_data) {
            *static_cast<call*>(user_data) = {fingerprint, changed, &about};
        },
        &seen);

    deliver(wire::change_event(77, {wire::item(2, 61.0), wire::item(1, 21.5)}));

    EXPECT_EQ(seen.fingerprint, 77U);
    EXPECT_THAT(seen.changed, ElementsAre(2, 1));
    EXPECT_EQ(seen.about, connection.get());
}

TEST_F(changes_callback, is_switched_off_by_a_null_function) {
    connection->set_variables_changed_callback(nullptr, this);

    deliver(wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_EQ(variable(*connection, 1).get_value(), variable_value{21.5});
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(changes_callback, that_throws_is_reported_and_faults_the_connection) {
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection& /*about*/, void*) {
            throw std::runtime_error{"the screen is full"};
        },
        nullptr);

    deliver(wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_EQ(error_output.flushed_text(), "the screen is full\n");
    EXPECT_EQ(connection->get_state(), state::faulted);
}

TEST_F(changes_callback, may_read_write_and_ask) {
    connection->set_variables_changed_callback(
        [](auto fingerprint, auto changed, provider_connection& about, void* user_data) {
            about.read_variables(fingerprint, changed);
            about.write_variables(fingerprint, changed);
            auto const updated = about.get_updated_variables_since(fingerprint, timestamp{});
            static_cast<recorded<std::string>*>(user_data)->add(std::to_string(updated.size()));
        },
        &journal);

    deliver(wire::change_event(77, {wire::item(2, 61.0)}));

    EXPECT_THAT(journal.get(), ElementsAre("3"));
    EXPECT_THAT(nats.published(variables_write), SizeIs(1));
    EXPECT_THAT(nats.requests(variables_query), SizeIs(2));
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(changes_callback, may_disconnect_the_connection) {
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection& about, void*) {
            about.disconnect();
        },
        nullptr);

    deliver(wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(changes_callback, may_disconnect_the_consumer) {
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection&, void* user_data) {
            static_cast<consumer*>(user_data)->disconnect();
        },
        &panel);

    deliver(wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_FALSE(panel.is_connected());
    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(changes_callback, may_attach_to_another_provider) {
    answer("v1.loc.registry.providers.pump.def.qry.read", wire::definition_reply(5, {}));
    answer("v1.loc.pump.vars.qry.read", wire::read_reply(5, {}));
    connection->set_variables_changed_callback(
        [](auto /*fingerprint*/, auto /*changed*/, provider_connection&, void* user_data) {
            static_cast<consumer*>(user_data)->attach_to_provider("pump");
        },
        &panel);

    deliver(wire::change_event(77, {wire::item(1, 21.5)}));

    EXPECT_THAT(nats.open_subjects(), testing::Contains("v1.loc.pump.vars.evt.changed"));
    EXPECT_EQ(error_output.text(), "");
}

} // namespace

} // namespace arvenhold::corvel::hub
