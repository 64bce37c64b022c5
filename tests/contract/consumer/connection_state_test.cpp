// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>

namespace arvenhold::corvel::hub {

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;

enum class trigger {
    provider_lost,
    provider_returned,
    definition_updated,
    fault,
    disconnect,
};

// The state that a trigger moves a connection to, and the callback that it calls.
struct transition {
    char const* name;
    state from;
    trigger by;
    state to;
    std::vector<std::string> told;
};

class connection_state : public panel_test, public testing::WithParamInterface<transition> {
protected:
    static void pull(provider_connection& connection, trigger by) {
        switch (by) {
        case trigger::provider_lost:
            connection.set_provider_availability(event::provider_lost);
            return;
        case trigger::provider_returned:
            connection.set_provider_availability(event::provider_returned);
            return;
        case trigger::definition_updated:
            connection.set_provider_availability(event::definition_updated);
            return;
        case trigger::fault:
            connection.set_fault_state();
            return;
        case trigger::disconnect:
            connection.disconnect();
            return;
        }
    }

    static void bring(provider_connection& connection, state wanted) {
        switch (wanted) {
        case state::connected:
            return;
        case state::provider_unavailable:
            pull(connection, trigger::provider_lost);
            return;
        case state::faulted:
            pull(connection, trigger::fault);
            return;
        case state::disconnected:
            pull(connection, trigger::disconnect);
            return;
        }
    }
};

TEST_P(connection_state, follows_the_table) {
    auto const connection = attach();
    bring(*connection, GetParam().from);
    ASSERT_EQ(connection->get_state(), GetParam().from);
    journal.forget();

    pull(*connection, GetParam().by);

    EXPECT_EQ(connection->get_state(), GetParam().to);
    EXPECT_EQ(journal.get(), GetParam().told);
    EXPECT_EQ(error_output.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    from_connected,
    connection_state,
    testing::Values(
        transition{
            "lost",
            state::connected,
            trigger::provider_lost,
            state::provider_unavailable,
            {"lost boiler"}},
        transition{
            "returned",
            state::connected,
            trigger::provider_returned,
            state::connected,
            {"returned boiler"}},
        transition{"updated", state::connected, trigger::definition_updated, state::connected, {}},
        transition{"fault", state::connected, trigger::fault, state::faulted, {}},
        transition{"disconnect", state::connected, trigger::disconnect, state::disconnected, {}}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    from_provider_unavailable,
    connection_state,
    testing::Values(
        transition{
            "lost",
            state::provider_unavailable,
            trigger::provider_lost,
            state::provider_unavailable,
            {"lost boiler"}},
        transition{
            "returned",
            state::provider_unavailable,
            trigger::provider_returned,
            state::connected,
            {"returned boiler"}},
        transition{
            "updated",
            state::provider_unavailable,
            trigger::definition_updated,
            state::connected,
            {}},
        transition{"fault", state::provider_unavailable, trigger::fault, state::faulted, {}},
        transition{
            "disconnect",
            state::provider_unavailable,
            trigger::disconnect,
            state::disconnected,
            {}}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    from_faulted,
    connection_state,
    testing::Values(
        transition{"lost", state::faulted, trigger::provider_lost, state::faulted, {}},
        transition{"returned", state::faulted, trigger::provider_returned, state::faulted, {}},
        transition{"updated", state::faulted, trigger::definition_updated, state::faulted, {}},
        transition{"fault", state::faulted, trigger::fault, state::faulted, {}},
        transition{"disconnect", state::faulted, trigger::disconnect, state::disconnected, {}}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    from_disconnected,
    connection_state,
    testing::Values(
        transition{"lost", state::disconnected, trigger::provider_lost, state::disconnected, {}},
        transition{
            "returned", state::disconnected, trigger::provider_returned, state::disconnected, {}},
        transition{
            "updated", state::disconnected, trigger::definition_updated, state::disconnected, {}},
        transition{"fault", state::disconnected, trigger::fault, state::faulted, {}},
        transition{
            "disconnect", state::disconnected, trigger::disconnect, state::disconnected, {}}),
    case_name);

class connection_end : public panel_test {};

TEST_F(connection_end, by_a_lost_provider_makes_all_values_bad_until_they_are_read_again) {
    auto const connection = attach();

    connection->set_provider_availability(event::provider_lost);

    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_EQ(variable(*connection, 1).get_update_count(), 1U);

    connection->set_provider_availability(event::provider_returned);

    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
}

TEST_F(connection_end, by_a_fault_makes_all_values_bad_and_calls_nobody) {
    auto const connection = attach();

    connection->set_fault_state();

    EXPECT_THAT(qualities(*connection), Each(variable_quality::bad));
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(connection_end, of_a_faulted_connection_by_a_lost_provider_changes_nothing) {
    auto const connection = attach();
    connection->set_fault_state();
    variable(*connection, 1).update_quality(variable_quality::uncertain);

    connection->set_provider_availability(event::provider_lost);

    EXPECT_EQ(variable(*connection, 1).get_quality(), variable_quality::uncertain);
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(connection_end, by_disconnecting_takes_everything_away_but_the_variables_handed_out) {
    auto const connection = attach();
    auto const before = connection->get_current_variables().variables;

    connection->disconnect();

    auto const [variables, fingerprint] = connection->get_current_variables();
    EXPECT_THAT(variables, IsNull());
    EXPECT_EQ(fingerprint, 0U);
    EXPECT_EQ(connection->get_associated_provider_identifier(), "boiler");
    EXPECT_EQ(before->at(1)->get_value(), variable_value{20.5});
    EXPECT_EQ(before->at(1)->get_quality(), variable_quality::good);
}

TEST_F(connection_end, by_disconnecting_ends_the_subscriptions) {
    auto const connection = attach();

    connection->disconnect();

    EXPECT_THAT(nats.open_subjects(), ElementsAre("v1.loc.registry.providers.evt.changed"));
}

TEST_F(connection_end, by_disconnecting_keeps_late_messages_away) {
    auto const connection = attach();
    auto const subscriptions = nats.subscriptions();
    connection->disconnect();

    for (auto const& late : {subscriptions.at(1), subscriptions.at(2)}) {
        late.handler(
            late.connection, late.handle, nats.make_message({late.subject, ""}), late.closure);
    }

    EXPECT_EQ(error_output.text(), "");
    EXPECT_EQ(connection->get_state(), state::disconnected);
}

TEST_F(connection_end, by_disconnecting_clears_the_callbacks) {
    auto const connection = attach();

    connection->disconnect();
    connection->set_provider_availability(event::provider_lost);

    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(connection_end, by_disconnecting_leaves_the_connection_with_its_consumer) {
    auto const connection = attach();

    connection->disconnect();

    EXPECT_EQ(panel.attach_to_provider("boiler"), connection);
}

TEST_F(connection_end, by_disconnecting_and_losing_the_provider_is_reported_on_its_return) {
    auto const connection = attach();
    connection->disconnect();
    announce_providers({});

    announce_providers({"boiler"});

    EXPECT_EQ(
        error_output.flushed_text(),
        "Consumer panel -> connection to provider boiler: query the provider definition from "
        "provider failed: provider connection is not in connected state\n");
    EXPECT_THAT(journal.get(), ElementsAre("list:", "list: boiler"));
}

TEST_F(connection_end, comes_with_the_end_of_the_consumer) {
    auto display = std::make_unique<consumer>("display", false, nullptr, nullptr);
    display->connect("nats://hub", "http://hub/token", "id", "secret");
    auto const connection = display->attach_to_provider("boiler");
    listen_to(*connection);

    display.reset();

    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_THAT(connection->get_current_variables().variables, IsNull());
    EXPECT_THAT(nats.open_subjects(), IsEmpty());
    EXPECT_THAT(journal.get(), IsEmpty());
}

class event_callback : public panel_test {};

TEST_F(event_callback, gets_the_connection_and_the_user_data) {
    auto const connection = attach();
    struct call {
        event what = event::definition_updated;
        provider_connection* about = nullptr;
    } seen;
    connection->set_event_callback(
        [](event what, provider_connection& about, void* user_data) {
            *static_cast<call*>(user_data) = {what, &about};
        },
        &seen);

    connection->set_provider_availability(event::provider_lost);

    EXPECT_EQ(seen.what, event::provider_lost);
    EXPECT_EQ(seen.about, connection.get());
}

TEST_F(event_callback, is_switched_off_by_a_null_function) {
    auto const connection = attach();

    connection->set_event_callback(nullptr, this);
    connection->set_provider_availability(event::provider_lost);

    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::provider_unavailable);
}

TEST_F(event_callback, may_replace_itself) {
    auto const connection = attach();
    connection->set_event_callback(
        [](event /*what*/, provider_connection& about, void* user_data) {
            static_cast<recorded<std::string>*>(user_data)->add("once");
            about.set_event_callback(nullptr, nullptr);
        },
        &journal);

    connection->set_provider_availability(event::provider_lost);
    connection->set_provider_availability(event::provider_lost);

    EXPECT_THAT(journal.get(), ElementsAre("once"));
}

} // namespace

} // namespace arvenhold::corvel::hub
