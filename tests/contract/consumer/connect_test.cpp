// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "panel_test.hpp"
#include "support/await.hpp"
#include "support/case_name.hpp"
#include "support/thrown_message.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/serialization_fault.hpp>

#include <gmock/gmock.h>

#include <future>
#include <iostream>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::Pointee;
using testing::SizeIs;

class connecting_consumer : public panel_test {};

TEST_F(connecting_consumer, has_not_happened_after_construction) {
    EXPECT_FALSE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(connecting_consumer, opens_the_session_subscribes_and_requests_the_list_in_this_order) {
    connect();

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_Create",
            "natsOptions_SetURL nats://hub",
            "natsOptions_SetName panel",
            "natsOptions_SetCustomInboxPrefix _INBOX.panel",
            "natsOptions_SetTokenHandler",
            "natsOptions_SetAllowReconnect true",
            "natsOptions_SetReconnectedCB",
            "natsOptions_SetDisconnectedCB",
            "natsOptions_UseGlobalMessageDelivery false",
            "natsOptions_SetWriteDeadline 0",
            "natsConnection_Connect",
            "natsConnection_Subscribe v1.loc.registry.providers.evt.changed",
            "natsConnection_Request v1.loc.registry.providers.qry.read 12 5000"));
    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_EQ(error_output.text(), "");
}

TEST_F(connecting_consumer, sends_immediately_when_told_to) {
    panel.connect(
        "nats://hub",
        "http://hub/token",
        "id",
        "secret",
        connect_options{}.set_send_immediately(true));

    EXPECT_THAT(nats.calls(), testing::Contains("natsOptions_SetSendAsap true"));
}

TEST_F(connecting_consumer, requests_the_list_with_an_empty_table) {
    connect();

    auto const requests = nats.requests();
    ASSERT_THAT(requests, SizeIs(1));
    EXPECT_EQ(requests.front().bytes, (std::string{"\x08\0\0\0\x04\0\x04\0\x04\0\0\0", 12}));
}

TEST_F(connecting_consumer, a_second_time_does_nothing) {
    connect();
    nats.forget_calls();

    panel.connect("nats://elsewhere", "http://elsewhere/token", "other", "other");

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_TRUE(panel.is_connected());
}

struct failing_step {
    char const* name;
    char const* function;
    natsStatus status;
    char const* message;
};

class connecting_with_a_failure : public panel_test,
                                  public testing::WithParamInterface<failing_step> {};

TEST_P(connecting_with_a_failure, throws_and_leaves_the_consumer_unconnected) {
    nats.fail_next(GetParam().function, GetParam().status);

    auto const message = thrown_message<connection_failed>([this] { connect(); });

    EXPECT_EQ(message, GetParam().message);
    EXPECT_FALSE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
    EXPECT_EQ(error_output.text(), "");
}

TEST_P(connecting_with_a_failure, can_be_repeated_and_drops_what_was_half_made) {
    nats.fail_next(GetParam().function, GetParam().status);
    EXPECT_THROW(connect(), connection_failed);

    connect();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_EQ(nats.open_connections(), 1U);
    EXPECT_THAT(nats.open_subjects(), ElementsAre("v1.loc.registry.providers.evt.changed"));
}

TEST_P(connecting_with_a_failure, leaves_nothing_to_disconnect) {
    nats.fail_next(GetParam().function, GetParam().status);
    EXPECT_THROW(connect(), connection_failed);
    nats.forget_calls();

    panel.disconnect();

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
}

INSTANTIATE_TEST_SUITE_P(
    at_every_step,
    connecting_with_a_failure,
    testing::Values(
        failing_step{
            "no_server",
            "natsConnection_Connect",
            NATS_NO_SERVER,
            "Consumer panel: failed to connect to the NATS server at nats://hub, NATS returns: 6 = "
            "No server available for connection\n"},
        failing_step{
            "refused",
            "natsConnection_Connect",
            NATS_CONNECTION_AUTH_FAILED,
            "Consumer panel: failed to connect to the NATS server at nats://hub, NATS returns: 11 "
            "= Authentication Violation\n"},
        failing_step{
            "subscription",
            "natsConnection_Subscribe",
            NATS_INVALID_SUBJECT,
            "Consumer panel: failed to subscribe to the providers changed event subject (related "
            "sujbect: v1.loc.registry.providers.evt.changed), NATS returns: 15 = Invalid "
            "Subject\n"},
        failing_step{
            "list_not_answered",
            "natsConnection_Request",
            NATS_TIMEOUT,
            "Consumer panel: failed to request the initial providers list (related sujbect: "
            "v1.loc.registry.providers.qry.read), NATS returns: 26 = Timeout\n"},
        failing_step{
            "no_registry",
            "natsConnection_Request",
            NATS_NO_RESPONDERS,
            "Consumer panel: failed to request the initial providers list (related sujbect: "
            "v1.loc.registry.providers.qry.read), NATS returns: 34 = No responders available for "
            "request\n"}),
    case_name);

struct malformed_list {
    char const* name;
    std::string reply;
    char const* message;
};

class connecting_to_a_malformed_list : public panel_test,
                                       public testing::WithParamInterface<malformed_list> {};

TEST_P(connecting_to_a_malformed_list, throws_and_leaves_the_consumer_connected) {
    answer(providers_query, GetParam().reply);

    auto const message = thrown_message<serialization_fault>([this] { connect(); });

    EXPECT_EQ(message, GetParam().message);
    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    connecting_to_a_malformed_list,
    testing::Values(
        malformed_list{
            "no_data",
            "",
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data nullptr\n"},
        malformed_list{
            "no_list",
            wire::read_providers_query_response(std::nullopt),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data (providers_query_response/providers/items) nullptr\n"},
        malformed_list{
            "no_items",
            wire::read_providers_query_response(wire::provider_list_table{}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: message data (providers_query_response/providers/items) nullptr\n"},
        malformed_list{
            "no_identifier",
            wire::read_providers_query_response(wire::provider_list_table{
                .items = {{wire::provider_table{}}}}),
            "Consumer panel: encountered invalid serialized data for operation: de-serialize "
            "provider list: provider identifier nullptr\n"}),
    case_name);

TEST_F(connecting_consumer, to_an_empty_list_gives_an_empty_set) {
    answer(providers_query, wire::provider_list_reply({}));

    connect();

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(IsEmpty()));
}

TEST_F(connecting_consumer, keeps_every_identifier_once_and_in_order) {
    answer(providers_query, wire::provider_list_reply({"pump", "boiler", "pump", ""}));

    connect();

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("", "boiler", "pump")));
}

TEST_F(connecting_consumer, does_not_call_the_providers_changed_callback) {
    connect();

    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(connecting_consumer, lets_the_identifiers_be_asked_for_while_it_waits_for_the_registry) {
    std::shared_ptr<std::set<std::string>> meanwhile;
    nats.answer_requests(providers_query, [&](std::string const& /*bytes*/) {
        meanwhile = panel.get_provider_identifiers();
        return fake_nats::request_answer{NATS_OK, wire::provider_list_reply({"boiler"})};
    });

    connect();

    EXPECT_THAT(meanwhile, Pointee(IsEmpty()));
}

// A consumer that asks for tokens, at an endpoint where nobody listens.
class failing_token : public testing::Test {
protected:
    void connect() {
        panel.connect("nats://hub", "http://127.0.0.1:1/token", "id", "secret");
    }

    captured_stream error_output{std::cerr};
    fake_nats nats;
    consumer panel{"panel", false, nullptr, nullptr};
};

TEST_F(failing_token, fails_the_connect_even_when_nats_reports_success) {
    auto const message = thrown_message<connection_failed>([this] { connect(); });

    EXPECT_EQ(
        message,
        "Consumer panel: failed to connect to the NATS server at nats://hub, NATS returns: 0 = "
        "OK\n");
    EXPECT_FALSE(panel.is_connected());
    EXPECT_THAT(nats.tokens(), ElementsAre(std::nullopt));
    EXPECT_THAT(nats.subscriptions(), IsEmpty());
}

TEST_F(failing_token, does_not_fail_the_next_connect) {
    nats.answer_requests(providers_query, {NATS_OK, wire::provider_list_reply({"boiler"})});
    EXPECT_THROW(connect(), connection_failed);
    nats.skip_token_handler();

    connect();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_EQ(nats.open_connections(), 1U);
}

class losing_the_connection : public panel_test {};

TEST_F(losing_the_connection, is_reported_and_changes_nothing_else) {
    auto const connection = attach();

    nats.lose_connection();

    EXPECT_EQ(
        error_output.flushed_text(), "Warning: Consumer has lost connection to NATS server!\n");
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(panel.is_connected());
    EXPECT_EQ(connection->get_state(), state::connected);
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_THAT(journal.get(), IsEmpty());
}

TEST_F(losing_the_connection, is_not_reported_before_the_consumer_was_connected) {
    refuse(providers_query, NATS_NO_RESPONDERS);
    EXPECT_THROW(connect(), connection_failed);

    nats.lose_connection();

    EXPECT_EQ(error_output.text(), "");
}

class reconnecting : public panel_test {};

TEST_F(reconnecting, fetches_the_list_again_and_tells_on_standard_output) {
    connect();
    answer(providers_query, wire::provider_list_reply({"press"}));

    nats.regain_connection();

    EXPECT_EQ(output.flushed_text(), "Consumer has reconnected to NATS server!\n");
    EXPECT_EQ(error_output.text(), "");
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("press")));
    EXPECT_THAT(
        requested_subjects(),
        ElementsAre("v1.loc.registry.providers.qry.read", "v1.loc.registry.providers.qry.read"));
}

TEST_F(reconnecting, calls_no_callback_and_touches_no_connection) {
    auto const connection = attach();
    answer(providers_query, wire::provider_list_reply({}));

    nats.regain_connection();

    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(connection->get_state(), state::connected);
}

TEST_F(reconnecting, reports_a_registry_that_does_not_answer_and_prints_no_notice) {
    connect();
    refuse(providers_query, NATS_TIMEOUT);

    nats.regain_connection();

    EXPECT_EQ(
        error_output.flushed_text(),
        "Failed to execute consumer::post_connect_handler(): Consumer panel: failed to request the "
        "initial providers list (related sujbect: v1.loc.registry.providers.qry.read), NATS "
        "returns: 26 = Timeout\n\n");
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
}

TEST_F(reconnecting, reports_a_malformed_list_and_prints_no_notice) {
    connect();
    answer(providers_query, "");

    nats.regain_connection();

    EXPECT_EQ(
        error_output.flushed_text(),
        "Failed to execute consumer::post_connect_handler(): Consumer panel: encountered invalid "
        "serialized data for operation: de-serialize provider list: message data nullptr\n\n");
    EXPECT_EQ(output.text(), "");
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
}

TEST_F(reconnecting, completes_a_connect_that_the_registry_had_not_answered) {
    refuse(providers_query, NATS_NO_RESPONDERS);
    EXPECT_THROW(connect(), connection_failed);
    answer(providers_query, wire::provider_list_reply({"boiler"}));

    nats.regain_connection();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler")));
}

TEST_F(reconnecting, does_not_complete_a_connect_that_has_no_subscription) {
    nats.fail_next("natsConnection_Subscribe", NATS_NO_MEMORY);
    EXPECT_THROW(connect(), connection_failed);

    nats.regain_connection();

    EXPECT_FALSE(panel.is_connected());
    connect();
    EXPECT_THAT(nats.open_subjects(), ElementsAre("v1.loc.registry.providers.evt.changed"));
}

TEST_F(reconnecting, does_not_replace_a_list_that_an_event_brought_meanwhile) {
    connect();
    nats.answer_requests(providers_query, [this](std::string const& /*bytes*/) {
        announce_providers({"boiler", "pump", "press"});
        return fake_nats::request_answer{NATS_OK, wire::provider_list_reply({"boiler", "pump"})};
    });

    nats.regain_connection();

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "press", "pump")));
    EXPECT_EQ(output.flushed_text(), "Consumer has reconnected to NATS server!\n");
    EXPECT_THAT(nats.requests(providers_query), SizeIs(1 + 5));
}

TEST_F(reconnecting, replaces_a_list_that_an_event_from_before_brought_meanwhile) {
    connect();
    bool is_first = true;
    nats.answer_requests(providers_query, [&](std::string const& /*bytes*/) {
        if (std::exchange(is_first, false)) {
            announce_providers({"boiler"});
        }
        return fake_nats::request_answer{NATS_OK, wire::provider_list_reply({"press"})};
    });

    nats.regain_connection();

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("press")));
}

TEST_F(reconnecting, prints_no_notice_when_the_consumer_is_disconnected_meanwhile) {
    connect();
    std::future<void> disconnected;
    nats.answer_requests(providers_query, [&](std::string const& /*bytes*/) {
        disconnected = std::async(std::launch::async, [this] { panel.disconnect(); });
        EXPECT_TRUE(await([this] { return !panel.is_connected(); }));
        return fake_nats::request_answer{NATS_OK, wire::provider_list_reply({"boiler"})};
    });

    nats.regain_connection();

    disconnected.get();
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(error_output.text(), "");
}

// The registry has not answered the request for the list: the session is open, the consumer is not
// connected.
class half_made_session : public panel_test {
protected:
    half_made_session() {
        refuse(providers_query, NATS_TIMEOUT);
        EXPECT_THROW(connect(), connection_failed);
        nats.forget_calls();
    }

    void let_the_registry_answer() {
        answer(providers_query, wire::provider_list_reply({"boiler", "pump"}));
    }
};

TEST_F(half_made_session, refuses_to_attach_and_stores_nothing) {
    auto const message =
        thrown_message<operational_state_invalid>([this] { panel.attach_to_provider("boiler"); });

    EXPECT_EQ(
        message,
        "Consumer panel: cannot set up a connection with a provider: not currently connected to "
        "the corvel-hub\n");
    EXPECT_THAT(nats.calls(), IsEmpty());
    let_the_registry_answer();
    EXPECT_EQ(attach()->get_state(), state::connected);
}

TEST_F(half_made_session, hands_on_a_list_event_and_stays_unconnected) {
    announce_providers({"press"});

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("press")));
    EXPECT_THAT(journal.get(), ElementsAre("list: press"));
    EXPECT_FALSE(panel.is_connected());
    EXPECT_THROW(panel.attach_to_provider("press"), operational_state_invalid);
}

TEST_F(half_made_session, leaves_the_list_of_an_event_in_place_when_it_is_disconnected) {
    announce_providers({"press"});

    panel.disconnect(); // does nothing

    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("press")));
    EXPECT_EQ(nats.open_connections(), 1U);
}

TEST_F(half_made_session, gives_way_to_the_next_connect_and_its_list) {
    announce_providers({"press"});
    let_the_registry_answer();

    connect();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_EQ(nats.open_connections(), 1U);
}

class disconnecting_consumer : public panel_test {};

TEST_F(disconnecting_consumer, ends_the_connections_before_it_closes_the_session) {
    auto const connection = attach();
    nats.forget_calls();

    panel.disconnect();

    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsSubscription_Unsubscribe v1.loc.registry.providers.boiler.def.evt.changed",
            "natsSubscription_Unsubscribe v1.loc.boiler.vars.evt.changed",
            "natsSubscription_Unsubscribe v1.loc.registry.providers.evt.changed",
            "natsConnection_Close"));
}

TEST_F(disconnecting_consumer, leaves_a_null_pointer_in_the_place_of_the_list) {
    connect();
    auto const before = panel.get_provider_identifiers();

    panel.disconnect();

    EXPECT_FALSE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
    EXPECT_THAT(before, Pointee(ElementsAre("boiler", "pump")));
}

TEST_F(disconnecting_consumer, disconnects_every_connection_and_closes_the_session) {
    auto const connection = attach();

    panel.disconnect();

    EXPECT_EQ(connection->get_state(), state::disconnected);
    EXPECT_THAT(nats.open_subjects(), IsEmpty());
    EXPECT_EQ(nats.open_connections(), 0U);
}

TEST_F(disconnecting_consumer, a_second_time_does_nothing) {
    connect();
    panel.disconnect();
    nats.forget_calls();

    panel.disconnect();

    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(disconnecting_consumer, keeps_late_messages_and_callbacks_away) {
    auto const connection = attach();
    auto const subscriptions = nats.subscriptions();
    panel.disconnect();

    for (auto const& late : subscriptions) {
        late.handler(
            late.connection, late.handle, nats.make_message({late.subject, ""}), late.closure);
    }
    nats.lose_connection();
    nats.regain_connection();

    EXPECT_THAT(journal.get(), IsEmpty());
    EXPECT_EQ(error_output.text(), "");
    EXPECT_EQ(output.text(), "");
    EXPECT_THAT(panel.get_provider_identifiers(), IsNull());
}

TEST_F(disconnecting_consumer, may_be_followed_by_connecting_and_attaching_anew) {
    auto const before = attach();
    panel.disconnect();

    auto const after = attach();

    EXPECT_TRUE(panel.is_connected());
    EXPECT_THAT(panel.get_provider_identifiers(), Pointee(ElementsAre("boiler", "pump")));
    EXPECT_NE(before, after);
    EXPECT_EQ(before->get_state(), state::disconnected);
    EXPECT_EQ(after->get_state(), state::connected);
}

TEST_F(disconnecting_consumer, forgets_which_providers_were_lost) {
    attach();
    announce_providers({});
    panel.disconnect();
    attach();
    journal.forget();

    announce_providers({"boiler"});

    EXPECT_THAT(journal.get(), ElementsAre("list: boiler"));
}

} // namespace

} // namespace arvenhold::corvel::hub
