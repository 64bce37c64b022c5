// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/case_name.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

constexpr char const* nothing_to_disconnect =
    "Provider boiler: cannot disconnect from NATS, not currently connected or in connection failed "
    "state\n";
constexpr char const* not_connected =
    "Provider boiler: failed to publish variables: not connected to the NATS server\n";
constexpr char const* connection_lost =
    "Provider boiler: failed to publish variables: connection to the NATS server has failed, "
    "attempt to disconnect and re-connect to re-establish the connection.\n";

class connecting_boiler : public boiler_test {
protected:
    std::string message_of_publishing() {
        return thrown_message<connection_failed>([&] { boiler.publish(noon); });
    }
};

TEST_F(connecting_boiler, has_not_happened_at_construction) {
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_EQ(message_of_publishing(), not_connected);
}

TEST_F(connecting_boiler, sets_the_options_and_subscribes_in_order) {
    connect();

    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_Create",
            "natsOptions_SetURL nats://hub:4222",
            "natsOptions_SetName boiler",
            "natsOptions_SetCustomInboxPrefix _INBOX.boiler",
            "natsOptions_SetTokenHandler",
            "natsOptions_SetAllowReconnect true",
            "natsOptions_SetReconnectedCB",
            "natsOptions_SetDisconnectedCB",
            "natsOptions_UseGlobalMessageDelivery false",
            "natsOptions_SetWriteDeadline 0",
            "natsConnection_Connect",
            "natsConnection_Subscribe v1.loc.boiler.vars.qry.read",
            "natsConnection_Subscribe v1.loc.boiler.vars.cmd.write",
            "natsConnection_Subscribe v1.loc.registry.state.evt.changed",
            "natsConnection_Subscribe v1.loc.registry.providers.boiler.def.evt.changed"));
}

TEST_F(connecting_boiler, sends_immediately_when_told_to) {
    boiler.connect(
        "nats://hub:4222",
        "http://hub/token",
        "id",
        "secret",
        connect_options{}.set_send_immediately(true));

    EXPECT_THAT(nats.calls(), Contains("natsOptions_SetSendAsap true"));
}

TEST_F(connecting_boiler, is_refused_threads_for_delivery_that_it_would_share) {
    auto const shared = connect_options{}.set_delivery_pool_size(1);

    EXPECT_EQ(
        thrown_message<std::invalid_argument>(
            [&] { boiler.connect("nats://hub:4222", "http://hub/token", "id", "secret", shared); }),
        "connect_options: delivery_pool_size must be 0 for a provider");

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(connecting_boiler, does_nothing_the_second_time_even_with_other_arguments) {
    connect();
    nats.forget_calls();

    boiler.connect("nats://other", "http://other", "stranger", "wrong");

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(connecting_boiler, reports_a_refusal_and_leaves_nothing_to_disconnect) {
    nats.fail_next("natsConnection_Connect", NATS_NO_SERVER);

    auto const message = thrown_message<connection_failed>([&] { connect(); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to connect to the NATS server at nats://hub:4222, NATS returns: "
        "6 = No server available for connection\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(nats.subscriptions(), IsEmpty());
    EXPECT_EQ(message_of_publishing(), not_connected);
    boiler.disconnect();
    EXPECT_EQ(errors.flushed_text(), nothing_to_disconnect);
}

TEST_F(connecting_boiler, reports_options_that_cannot_be_made_as_a_refusal) {
    nats.fail_next("natsOptions_Create", NATS_NO_MEMORY);

    auto const message = thrown_message<connection_failed>([&] { connect(); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to connect to the NATS server at nats://hub:4222, NATS returns: "
        "24 = No Memory\n");
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(connecting_boiler, can_be_tried_again_after_a_refusal) {
    nats.fail_next("natsConnection_Connect", NATS_NO_SERVER);
    EXPECT_THROW(connect(), connection_failed);

    connect();

    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(connecting_boiler, announces_nothing_when_nothing_is_registered) {
    connect();

    EXPECT_THAT(nats.published(), IsEmpty());
}

TEST_F(
    connecting_boiler,
    announces_what_is_registered_and_publishes_what_is_pending_after_the_verdict) {
    auto const list = register_boiler(7);
    EXPECT_THAT(nats.published(), IsEmpty());
    auto connected = std::async(std::launch::async, [&] { connect(); });

    ASSERT_TRUE(nats.wait_until_published(subjects::definition, 1));

    EXPECT_THAT(nats.published(subjects::change_event), IsEmpty());
    with_verdict(verdict_on(7, 1), [&] { connected.get(); });
    ASSERT_THAT(nats.published(), SizeIs(2));
    EXPECT_EQ(announcement_in(nats.published(subjects::definition)[0].bytes).fingerprint, 7U);
    EXPECT_THAT(
        change_event_in(nats.published(subjects::change_event)[0].bytes).ids(),
        UnorderedElementsAre(speed_of(*list), running_of(*list)));
}

TEST_F(connecting_boiler, stamps_what_it_publishes_with_the_current_time) {
    static_cast<void>(register_boiler(7));
    auto const before = std::chrono::system_clock::now();

    with_verdict(verdict_on(7, 1), [&] { connect(); });

    auto const after = std::chrono::system_clock::now();
    auto const [seconds, nanos] = change_event_in(last_published(subjects::change_event)).when;
    timestamp const when{std::chrono::seconds{seconds} + std::chrono::nanoseconds{nanos}};
    EXPECT_GE(when, before);
    EXPECT_LE(when, after);
}

TEST_F(connecting_boiler, marks_the_provider_failed_when_the_announcement_fails) {
    static_cast<void>(register_boiler(7));
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);

    auto const message = thrown_message<connection_failed>([&] { connect(); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish the provider definition (related sujbect: "
        "v1.loc.boiler.def.evt.changed), NATS returns: 3 = IO Error\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(message_of_publishing(), connection_lost);
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_THAT(nats.published(subjects::change_event), IsEmpty());
}

TEST_F(connecting_boiler, marks_the_provider_failed_when_publishing_what_is_pending_fails) {
    static_cast<void>(register_boiler(7));
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR, 2);

    auto const message = thrown_message<connection_failed>(
        [&] { with_verdict(verdict_on(7, 1), [&] { connect(); }); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish updated variables (related sujbect: "
        "v1.loc.boiler.vars.evt.changed), NATS returns: 3 = IO Error\n");
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(connecting_boiler, stands_when_the_registry_rejects_what_is_registered) {
    auto const list = register_boiler(7);

    auto const message = thrown_message<invalid_provider_definition>(
        [&] { with_verdict(verdict_on(7, 0), [&] { connect(); }); });

    EXPECT_EQ(
        message,
        "Provider boiler: published an invalid provider definition with fingerprint: 7. Check "
        "variable identifier syntax rules and try again\n");
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
    EXPECT_THAT(nats.published(subjects::change_event), IsEmpty());
}

// The NATS client asks for a token, and none can be fetched.
class connecting_without_a_token : public testing::Test {
protected:
    std::string message_of_connecting() {
        return thrown_message<connection_failed>(
            [&] { boiler.connect("nats://hub:4222", "unknown://hub/token", "id", "secret"); });
    }

    captured_stream errors{std::cerr};
    fake_nats nats;
    provider boiler{"boiler"};
};

TEST_F(connecting_without_a_token, fails_although_the_server_lets_the_provider_in) {
    auto const message = message_of_connecting();

    EXPECT_EQ(
        message,
        "Provider boiler: failed to connect to the NATS server at nats://hub:4222, NATS returns: "
        "0 = OK\n");
    EXPECT_THAT(nats.tokens(), SizeIs(1));
    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(nats.subscriptions(), IsEmpty());
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(connecting_without_a_token, leaves_the_provider_failed_until_it_disconnects_quietly) {
    static_cast<void>(message_of_connecting());
    EXPECT_EQ(thrown_message<connection_failed>([&] { boiler.publish(noon); }), connection_lost);
    auto const lines_before = errors.text();

    boiler.disconnect();

    EXPECT_EQ(errors.text(), lines_before);
    EXPECT_EQ(thrown_message<connection_failed>([&] { boiler.publish(noon); }), not_connected);
}

TEST_F(connecting_without_a_token, drops_the_registration_with_that) {
    boiler_definition definition{7};
    auto const list = boiler.register_provider_definition(definition);
    static_cast<void>(message_of_connecting());
    EXPECT_EQ(boiler.get_fingerprint(), 7U);

    boiler.disconnect();

    EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_quality(), variable_quality::bad);
}

TEST_F(connecting_without_a_token, can_be_tried_again_with_no_trace_of_the_failure) {
    static_cast<void>(message_of_connecting());
    nats.skip_token_handler();

    boiler.connect("nats://hub:4222", "http://hub/token", "id", "secret");

    EXPECT_TRUE(boiler.is_connected());
}

struct refused_subscription {
    char const* name;
    std::size_t position;
    char const* message;
};

std::ostream& operator<<(std::ostream& os, refused_subscription const& printed) {
    return os << printed.name;
}

class subscribing : public boiler_test, public testing::WithParamInterface<refused_subscription> {};

TEST_P(subscribing, stops_at_a_failure_and_leaves_the_provider_failed_but_connected) {
    nats.fail_next("natsConnection_Subscribe", NATS_INVALID_SUBJECT, GetParam().position);

    auto const message = thrown_message<connection_failed>([&] { connect(); });

    EXPECT_EQ(message, GetParam().message);
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(nats.open_subjects(), SizeIs(GetParam().position - 1));
    EXPECT_EQ(nats.open_connections(), 1U);
    EXPECT_EQ(thrown_message<connection_failed>([&] { boiler.publish(noon); }), connection_lost);
    connect(); // does nothing, as the provider counts as connected
    EXPECT_FALSE(boiler.is_connected());
}

TEST_P(subscribing, can_be_cleaned_up_and_tried_again) {
    nats.fail_next("natsConnection_Subscribe", NATS_INVALID_SUBJECT, GetParam().position);
    EXPECT_THROW(connect(), connection_failed);

    boiler.disconnect();

    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_THAT(errors.text(), IsEmpty());
    connect();
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(nats.open_subjects(), SizeIs(4));
}

INSTANTIATE_TEST_SUITE_P(
    to_every_subject,
    subscribing,
    testing::Values(
        refused_subscription{
            "read_request",
            1,
            "Provider boiler: failed to subscribe to the read request subject, NATS returns: "
            "15 = Invalid Subject\n"},
        refused_subscription{
            "write_command",
            2,
            "Provider boiler: failed to subscribe to the write command subject (related sujbect: "
            "v1.loc.boiler.vars.cmd.write), NATS returns: 15 = Invalid Subject\n"},
        refused_subscription{
            "registry_state",
            3,
            "Provider boiler: failed to subscribe to the registry state subject (related sujbect: "
            "v1.loc.registry.state.evt.changed), NATS returns: 15 = Invalid Subject\n"},
        refused_subscription{
            "verdict",
            4,
            "Provider boiler: failed to subscribe to the definition changed subject (related "
            "sujbect: v1.loc.registry.providers.boiler.def.evt.changed), NATS returns: 15 = "
            "Invalid Subject\n"}),
    case_name);

class disconnecting_boiler : public boiler_test {};

TEST_F(disconnecting_boiler, prints_a_line_when_the_provider_is_fresh) {
    boiler.disconnect();

    EXPECT_EQ(errors.flushed_text(), nothing_to_disconnect);
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(disconnecting_boiler, prints_a_line_the_second_time) {
    connect();
    boiler.disconnect();
    EXPECT_THAT(errors.text(), IsEmpty());

    boiler.disconnect();

    EXPECT_EQ(errors.flushed_text(), nothing_to_disconnect);
}

TEST_F(disconnecting_boiler, keeps_a_registration_when_there_is_nothing_to_disconnect) {
    auto const list = register_boiler(7);

    boiler.disconnect();

    EXPECT_EQ(errors.flushed_text(), nothing_to_disconnect);
    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
}

TEST_F(disconnecting_boiler, ends_the_subscriptions_in_order_then_closes_then_destroys) {
    connect();
    nats.forget_calls();

    boiler.disconnect();

    auto const calls = nats.calls();
    ASSERT_GE(calls.size(), 11U);
    EXPECT_THAT(
        std::vector(calls.begin(), calls.begin() + 5),
        ElementsAre(
            "natsSubscription_Unsubscribe v1.loc.boiler.vars.qry.read",
            "natsSubscription_Unsubscribe v1.loc.boiler.vars.cmd.write",
            "natsSubscription_Unsubscribe v1.loc.registry.state.evt.changed",
            "natsSubscription_Unsubscribe "
            "v1.loc.registry.providers.boiler.def.evt.changed",
            "natsConnection_Close"));
    EXPECT_THAT(
        std::vector(calls.end() - 6, calls.end()),
        ElementsAre(
            "natsSubscription_Destroy v1.loc.boiler.vars.qry.read",
            "natsSubscription_Destroy v1.loc.boiler.vars.cmd.write",
            "natsSubscription_Destroy v1.loc.registry.state.evt.changed",
            "natsSubscription_Destroy v1.loc.registry.providers.boiler.def.evt.changed",
            "natsConnection_Destroy",
            "natsOptions_Destroy"));
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(disconnecting_boiler, forgets_the_registration_and_makes_the_list_stale) {
    auto const list = start();

    boiler.disconnect();

    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_fingerprint(); }),
        "Provider boiler: cannot get fingerprint, no provider definition registered\n");
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_variable_list(); }),
        "Provider boiler: cannot get variable list, no provider definition registered\n");
    EXPECT_EQ(
        thrown_message<operational_state_invalid>(
            [&] { list->publish(speed_of(*list), 1.5, noon); }),
        "Provider boiler: cannot get fingerprint, no provider definition registered\n");
    EXPECT_EQ(
        list->resolve_variable_by_id(running_of(*list))->get_quality(), variable_quality::bad);
}

TEST_F(disconnecting_boiler, sends_nothing_about_the_forgotten_definition_at_the_next_connect) {
    static_cast<void>(start());
    boiler.disconnect();
    auto const published_before = nats.published().size();

    connect();

    EXPECT_EQ(nats.published().size(), published_before);
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(disconnecting_boiler, makes_the_old_list_name_both_fingerprints_after_another_registration) {
    auto const list = start();
    boiler.disconnect();

    static_cast<void>(register_boiler(8));

    EXPECT_EQ(
        thrown_message<variable_list_outdated>([&] { list->publish(speed_of(*list), 1.5, noon); }),
        "Provider boiler: variable list is outdated:\n"
        "Associated fingerprint: 7\n"
        "Provider's current fingerprint: 8\n"
        "Replace this variable list with the new one that is now current for the associated "
        "provider\n");
}

TEST_F(disconnecting_boiler, turns_messages_away_that_come_late) {
    static_cast<void>(start());
    auto const subscriptions = nats.subscriptions();
    auto const published_before = nats.published().size();
    boiler.disconnect();

    for (auto const& late : subscriptions) {
        late.handler(
            late.connection,
            late.handle,
            nats.make_message({.subject = late.subject, .reply = "inbox"}),
            late.closure);
    }

    EXPECT_EQ(nats.published().size(), published_before);
    EXPECT_THAT(errors.text(), IsEmpty());
}

class destroying : public testing::Test {
protected:
    destroying() {
        nats.skip_token_handler();
    }

    captured_stream errors{std::cerr};
    fake_nats nats; // complains about whatever is left at its end
};

TEST_F(destroying, disconnects) {
    std::shared_ptr<variable_list> list;
    {
        provider boiler{"boiler"};
        boiler_definition definition{7};
        boiler.connect("nats://hub:4222", "http://hub/token", "id", "secret");
        nats.fail_next("natsConnection_Publish", NATS_IO_ERROR); // so that nobody waits
        EXPECT_THROW(boiler.register_provider_definition(definition), connection_failed);
        list = boiler.get_variable_list();
    }

    EXPECT_EQ(nats.open_connections(), 0U);
    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_quality(), variable_quality::bad);
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(destroying, lets_go_of_the_list) {
    std::weak_ptr<variable_list> list;
    {
        provider boiler{"boiler"};
        boiler_definition definition{7};
        list = boiler.register_provider_definition(definition);
    }

    EXPECT_TRUE(list.expired());
}

TEST_F(destroying, leaves_a_list_that_refuses_changes) {
    std::shared_ptr<variable_list> list;
    {
        provider boiler{"boiler"};
        boiler_definition definition{7};
        list = boiler.register_provider_definition(definition);
    }

    EXPECT_EQ(
        thrown_message<operational_state_invalid>(
            [&] { list->publish(speed_of(*list), 2.5, timestamp{}); }),
        "Provider boiler: variable list cannot be changed, its provider is gone\n");
}

TEST_F(destroying, is_silent_when_there_is_nothing_to_disconnect) {
    { provider boiler{"boiler"}; }

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(destroying, cleans_up_when_subscribing_failed) {
    nats.fail_next("natsConnection_Subscribe", NATS_INVALID_SUBJECT, 3);
    {
        provider boiler{"boiler"};
        EXPECT_THROW(
            boiler.connect("nats://hub:4222", "http://hub/token", "id", "secret"),
            connection_failed);
    }

    EXPECT_EQ(nats.open_connections(), 0U);
}

} // namespace

} // namespace arvenhold::corvel::hub
