// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;
using testing::SizeIs;

using connecting_provider = provider_on_dev_hub;

TEST_F(connecting_provider, is_connected_with_a_token_for_providing) {
    connect_boiler();

    EXPECT_TRUE(boiler.is_connected());
    auto const requests = hub.get_token_endpoint().get_requests();
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_EQ(requests[0].scope, "hub.variables.provide");
    EXPECT_EQ(requests[0].client.client_id, "developer");
    EXPECT_EQ(requests[0].client.client_secret, "developer-secret");
}

TEST_F(connecting_provider, does_nothing_the_second_time_even_with_other_arguments) {
    connect_boiler();

    boiler.connect("nats://nobody:1", "http://nobody:1", "stranger", "wrong");

    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(hub.get_token_endpoint().get_requests(), SizeIs(1));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(connecting_provider, is_refused_without_a_token_and_then_disconnects_quietly) {
    auto const& server = hub.get_nats_server();
    auto const& tokens = hub.get_token_endpoint();

    auto const message = thrown_message<connection_failed>(
        [&] { boiler.connect(server.get_url(), tokens.get_url(), "developer", "wrong"); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to connect to the NATS server at " + server.get_url()
            + ", NATS returns: 11 = Authentication Violation\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(tokens.get_requests(), SizeIs(1));
    auto const lines_before = errors.text();
    boiler.disconnect();
    EXPECT_EQ(errors.text(), lines_before);
}

TEST_F(connecting_provider, has_nothing_to_disconnect_when_no_server_was_there) {
    hub.get_nats_server().stop();

    auto const message = thrown_message<connection_failed>([&] { connect_boiler(); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to connect to the NATS server at "
            + hub.get_nats_server().get_url()
            + ", NATS returns: 6 = No server available for connection\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THAT(errors.text(), IsEmpty());
    boiler.disconnect();
    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: cannot disconnect from NATS, not currently connected or in connection "
        "failed state\n");
}

TEST_F(connecting_provider, connects_after_a_refusal) {
    EXPECT_THROW(
        boiler.connect(
            hub.get_nats_server().get_url(),
            hub.get_token_endpoint().get_url(),
            "developer",
            "wrong"),
        connection_failed);

    connect_boiler();

    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(connecting_provider, announces_a_definition_that_was_registered_before) {
    auto announcements = peer.listen(subjects::definition);
    auto events = peer.listen(subjects::change_event);
    boiler_definition definition{7};
    auto const list = boiler.register_provider_definition(definition);

    connect_boiler();

    auto const announced = announcement_in(announcements.take().bytes);
    EXPECT_EQ(announced.fingerprint, 7U);
    EXPECT_FALSE(announced.has_valid);
    EXPECT_THAT(
        announced.variables,
        testing::ElementsAre(
            announced_variable{"pump/speed", speed_of(*list), 3, 2},
            announced_variable{"pump/running", running_of(*list), 1, 1}));
    auto const event = change_event_in(events.take().bytes);
    EXPECT_EQ(event.fingerprint, 7U);
    EXPECT_THAT(event.ids(), testing::UnorderedElementsAre(speed_of(*list), running_of(*list)));
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    ASSERT_TRUE(hub.get_registry().wait_until_provider_listed("boiler", patience));
    EXPECT_EQ(hub.get_registry().get_definition("boiler")->fingerprint, 7U);
}

TEST_F(connecting_provider, stands_although_the_registry_rejects_what_was_registered) {
    hub.get_registry().reject("boiler");
    boiler_definition definition{7};
    auto const list = boiler.register_provider_definition(definition);

    auto const message = thrown_message<invalid_provider_definition>([&] { connect_boiler(); });

    EXPECT_EQ(
        message,
        "Provider boiler: published an invalid provider definition with fingerprint: 7. Check "
        "variable identifier syntax rules and try again\n");
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
}

TEST_F(connecting_provider, has_a_token_for_every_subject_of_an_identifier_with_dots) {
    provider pump{"plant.boiler.pump"};
    boiler_definition definition{7};
    static_cast<void>(pump.register_provider_definition(definition));

    connect(pump, hub.get_nats_server(), hub.get_token_endpoint());

    EXPECT_TRUE(hub.get_registry().wait_until_provider_listed("plant.boiler.pump", patience));
    auto const answer = peer.request("v1.loc.plant.boiler.pump.vars.qry.read", request_for_all());
    ASSERT_EQ(answer.status, NATS_OK);
    EXPECT_THAT(read_reply_in(answer.bytes).items, SizeIs(2));
}

TEST_F(connecting_provider, shares_every_subject_with_a_provider_of_the_same_identifier) {
    provider twin{"boiler"};
    boiler_definition first{7};
    boiler_definition second{7};
    static_cast<void>(boiler.register_provider_definition(first));
    static_cast<void>(twin.register_provider_definition(second));
    connect_boiler();
    connect(twin, hub.get_nats_server(), hub.get_token_endpoint());
    auto replies = peer.listen("replies");

    peer.publish(subjects::read_request, request_for_all(), "replies");

    auto const one = read_reply_in(replies.take().bytes);
    auto const other = read_reply_in(replies.take().bytes);
    EXPECT_NE(one.ids(), other.ids());
    EXPECT_EQ(one.fingerprint, other.fingerprint);
}

TEST_F(connecting_provider, leaves_the_server_and_forgets_the_registration_when_it_disconnects) {
    connect_boiler();
    boiler_definition definition{7};
    auto const list = boiler.register_provider_definition(definition);

    boiler.disconnect();

    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(peer.request(subjects::read_request, request_for_all()).status, NATS_NO_RESPONDERS);
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_fingerprint(); }),
        "Provider boiler: cannot get fingerprint, no provider definition registered\n");
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_variable_list(); }),
        "Provider boiler: cannot get variable list, no provider definition registered\n");
    EXPECT_THROW(list->publish(speed_of(*list), 1.5, noon), operational_state_invalid);
    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_quality(), variable_quality::bad);
}

TEST_F(connecting_provider, can_connect_and_register_again_after_disconnecting) {
    connect_boiler();
    boiler_definition first{7};
    auto const old_list = boiler.register_provider_definition(first);
    boiler.disconnect();
    boiler_definition second{8};

    connect_boiler();
    auto const list = boiler.register_provider_definition(second);

    EXPECT_NE(list, old_list);
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_EQ(
        thrown_message<variable_list_outdated>(
            [&] { old_list->publish(speed_of(*old_list), 1.5, noon); }),
        "Provider boiler: variable list is outdated:\n"
        "Associated fingerprint: 7\n"
        "Provider's current fingerprint: 8\n"
        "Replace this variable list with the new one that is now current for the associated "
        "provider\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
