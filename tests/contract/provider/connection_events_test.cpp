// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/provider_messages.hpp"

#include <functional>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char const* reconnected_line = "Provider has reconnected to NATS server!\n";

using connection_events = boiler_test;

TEST_F(connection_events, tell_of_a_lost_connection_and_change_no_state) {
    static_cast<void>(start());

    nats.lose_connection();

    EXPECT_EQ(errors.flushed_text(), "Warning: Provider has lost connection to NATS server!\n");
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(connection_events, tell_of_a_regained_connection_at_once_when_nothing_is_registered) {
    connect();

    nats.regain_connection();

    EXPECT_EQ(output.flushed_text(), reconnected_line);
    EXPECT_THAT(errors.text(), IsEmpty());
    EXPECT_THAT(nats.published(), IsEmpty());
}

TEST_F(connection_events, announce_the_definition_and_publish_what_is_pending_before_telling) {
    auto const list = start();
    list->set_quality(speed_of(*list), variable_quality::uncertain, noon);
    auto regained = std::async(std::launch::async, [&] { nats.regain_connection(); });

    ASSERT_TRUE(nats.wait_until_published(subjects::definition, 2));

    EXPECT_THAT(nats.published(subjects::change_event), SizeIs(1));
    EXPECT_THAT(output.text(), IsEmpty());
    with_verdict(verdict_on(7, 1), [&] { regained.get(); });
    ASSERT_THAT(nats.published(subjects::change_event), SizeIs(2));
    EXPECT_THAT(
        change_event_in(last_published(subjects::change_event)).items,
        ElementsAre(sent_variable{speed_of(*list), 0.5, 64, std::nullopt}));
    EXPECT_EQ(output.flushed_text(), reconnected_line);
}

TEST_F(connection_events, do_not_tell_when_the_announcement_fails) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_Publish", NATS_CONNECTION_CLOSED);

    nats.regain_connection();

    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to execute provider::post_connect_handler(): Provider boiler: failed to publish "
        "the provider definition (related sujbect: v1.loc.boiler.def.evt.changed), NATS returns: 5 "
        "= Connection Closed\n\n");
    EXPECT_THAT(output.text(), IsEmpty());
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
}

TEST_F(connection_events, do_not_tell_when_the_registry_rejects_the_definition) {
    static_cast<void>(start());

    with_verdict(verdict_on(7, 0), [&] { nats.regain_connection(); });

    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to execute provider::post_connect_handler(): Provider boiler: published an invalid "
        "provider definition with fingerprint: 7. Check variable identifier syntax rules and try "
        "again\n\n");
    EXPECT_THAT(output.text(), IsEmpty());
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
}

TEST_F(connection_events, do_not_end_the_failure_of_an_earlier_publication) {
    auto const list = start();
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
    EXPECT_THROW(list->publish(speed_of(*list), 1.5, noon), connection_failed);

    with_verdict(verdict_on(7, 1), [&] { nats.regain_connection(); });

    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(nats.published(subjects::definition), SizeIs(2));
    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to execute provider::post_connect_handler(): Provider boiler: failed to publish "
        "variables: connection to the NATS server has failed, attempt to disconnect and re-connect "
        "to re-establish the connection.\n\n");
}

// The line about the token comes before the mark that none could be obtained.
TEST_F(connection_events, fail_no_later_session_by_a_token_that_fails_late) {
    boiler.connect("nats://hub:4222", "unknown://hub/token", "id", "secret");
    nats.ask_token_handler();
    std::function<void()> reconnect = [this] {
        set_diagnostics_callback(nullptr, nullptr);
        nats.skip_token_handler();
        boiler.disconnect();
        connect();
    };
    set_diagnostics_callback(
        [](diagnostic const& /*report*/, void* user_data) {
            (*static_cast<std::function<void()>*>(user_data))();
        },
        &reconnect);

    nats.regain_connection();

    EXPECT_TRUE(boiler.is_connected());
    EXPECT_NO_THROW(register_boiler(8));
}

TEST_F(connection_events, are_turned_away_after_disconnecting) {
    connect();
    boiler.disconnect();

    nats.lose_connection();
    nats.regain_connection();

    EXPECT_THAT(errors.text(), IsEmpty());
    EXPECT_THAT(output.text(), IsEmpty());
}

} // namespace

} // namespace arvenhold::corvel::hub
