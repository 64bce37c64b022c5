// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/nats_session.hpp"
#include "support/await.hpp"
#include "support/captured_stream.hpp"
#include "support/case_name.hpp"
#include "support/fake_nats.hpp"
#include "support/raw_http_server.hpp"
#include "support/thrown_message.hpp"
#include <hub/connection_failed.hpp>

#include <gmock/gmock.h>

#include <future>
#include <iostream>
#include <latch>
#include <optional>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::SizeIs;

// What a role is to its session.
struct session_owner {
    static constexpr auto kind = client_kind::provider;

    std::string name{"boiler"};
    std::vector<std::string> events;
    nats_session* session = nullptr;

    std::string const& get_client_name() const {
        return name;
    }

    void record(received_message message) {
        events.emplace_back(message.bytes());
    }

    void throw_an_exception(received_message /*message*/) {
        throw std::runtime_error{"a handler failed"};
    }

    void throw_a_number(received_message /*message*/) {
        throw 7;
    }

    void reply(received_message message) {
        session->reply_to_read_request(message, std::string_view{"ab\0c", 4});
        events.emplace_back("replied");
    }

    void close(received_message /*message*/) {
        session->close();
        events.emplace_back("closed");
    }

    void nats_recon_callback() {
        events.emplace_back("reconnected");
    }

    void nats_dcon_callback() {
        events.emplace_back("disconnected");
        throw std::runtime_error{"a callback failed"};
    }
};

using owner_registration = callback_registration_of<session_owner>;

constexpr subscription_kind tick_subscription{
    .operation = "subscribe to the tick",
    .missing_message = "no tick",
    .missing_owner = "nobody for the tick",
    .checked_first = subscription_kind::part::message};

constexpr subscription_kind subject_less_subscription{
    .operation = "subscribe to the tock",
    .missing_message = "no tock",
    .missing_owner = "nobody for the tock",
    .checked_first = subscription_kind::part::message,
    .failure_names_subject = false};

class unconnected_session : public testing::Test {
protected:
    std::string server_url{"nats://127.0.0.1:4222"};
    std::string token_endpoint{"http://127.0.0.1:1/token"};
    connect_options options;

    std::shared_ptr<nats_session> make_session() {
        return make_session(registration);
    }

    std::shared_ptr<nats_session> make_session(std::shared_ptr<owner_registration> called) {
        return std::make_shared<nats_session>(
            nats_session_settings{
                .kind = client_kind::provider,
                .client_name = "boiler",
                .server_url = server_url,
                .token_endpoint = token_endpoint,
                .client_id = "developer",
                .client_secret = "developer-secret",
                .scope = "hub.variables.provide",
                .options = options},
            std::move(called));
    }

    fake_nats nats;
    std::shared_ptr<callback_gate> const gate = std::make_shared<callback_gate>();
    std::shared_ptr<session_owner> const owner = std::make_shared<session_owner>();
    std::shared_ptr<owner_registration> const registration =
        std::make_shared<owner_registration>(gate, owner);
};

TEST_F(unconnected_session, makes_its_options_in_this_order_and_connects) {
    nats.skip_token_handler();
    auto const session = make_session();

    session->connect();

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_Create",
            "natsOptions_SetURL nats://127.0.0.1:4222",
            "natsOptions_SetName boiler",
            "natsOptions_SetCustomInboxPrefix _INBOX.boiler",
            "natsOptions_SetTokenHandler",
            "natsOptions_SetAllowReconnect true",
            "natsOptions_SetReconnectedCB",
            "natsOptions_SetDisconnectedCB",
            "natsOptions_UseGlobalMessageDelivery false",
            "natsOptions_SetWriteDeadline 0",
            "natsConnection_Connect"));
}

TEST_F(unconnected_session, makes_all_chosen_options_in_this_order_and_connects) {
    using namespace std::chrono_literals;
    nats.skip_token_handler();
    options.set_client_name("line 4")
        .set_further_servers({"nats://other"})
        .set_write_deadline(250ms)
        .set_delivery_pool_size(2)
        .set_send_immediately(true);
    auto const session = make_session();

    session->connect();

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_Create",
            "natsOptions_SetNoRandomize true",
            "natsOptions_SetServers nats://127.0.0.1:4222 nats://other",
            "natsOptions_SetName line 4",
            "natsOptions_SetCustomInboxPrefix _INBOX.boiler",
            "natsOptions_SetTokenHandler",
            "natsOptions_SetAllowReconnect true",
            "natsOptions_SetReconnectedCB",
            "natsOptions_SetDisconnectedCB",
            "natsOptions_UseGlobalMessageDelivery true",
            "natsOptions_SetWriteDeadline 250",
            "natsOptions_SetSendAsap true",
            "nats_SetMessageDeliveryPoolSize 2",
            "natsConnection_Connect"));
}

TEST_F(unconnected_session, names_the_file_that_it_cannot_use_and_does_not_connect) {
    options.set_tls_client_certificate("/c.pem", "/k.pem");
    nats.fail_next("natsOptions_LoadCertificatesChain", NATS_SSL_ERROR);
    auto const session = make_session();

    EXPECT_EQ(
        thrown_message<connection_failed>([&] { session->connect(); }),
        "Provider boiler: failed to connect to the NATS server at nats://127.0.0.1:4222, NATS "
        "returns: 29 = SSL Error (/c.pem)\n");

    EXPECT_THAT(nats.calls(), Not(Contains("natsConnection_Connect")));
}

TEST_F(unconnected_session, requests_with_the_chosen_timeout) {
    nats.skip_token_handler();
    options.set_request_time_limit(std::chrono::milliseconds{700});
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    auto const session = make_session();
    session->connect();
    nats.forget_calls();

    session->request("ask", "ask", "abc");

    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Request ask 3 700"));
}

TEST_F(unconnected_session, refuses_requests_while_it_is_disconnected_when_told_to) {
    nats.skip_token_handler();
    options.set_fail_requests_while_disconnected(true);
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    auto const session = make_session();
    session->connect();
    captured_stream const errors{std::cerr};
    nats.lose_connection();

    EXPECT_EQ(
        thrown_message<connection_failed>([&] { session->request("ask", "ask", ""); }),
        "Provider boiler: failed to ask (related sujbect: ask), NATS returns: 10 = Connection "
        "Disconnected\n");

    nats.regain_connection();
    EXPECT_NO_THROW(session->request("ask", "ask", ""));
}

TEST_F(unconnected_session, releases_everything_when_it_was_never_connected) {
    make_session();

    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Close"));
}

TEST_F(unconnected_session, reports_why_it_cannot_connect_and_keeps_no_connection) {
    nats.fail_next("natsConnection_Connect", NATS_NO_SERVER);
    auto const session = make_session();

    EXPECT_EQ(
        thrown_message<connection_failed>([&] { session->connect(); }),
        "Provider boiler: failed to connect to the NATS server at nats://127.0.0.1:4222, NATS "
        "returns: 6 = No server available for connection\n");

    EXPECT_EQ(nats.open_connections(), 0);
    EXPECT_TRUE(session->is_closed());
    EXPECT_FALSE(session->has_failed());
}

// Without options the NATS client would connect to its default server.
TEST_F(unconnected_session, does_not_connect_without_options) {
    nats.fail_next("natsOptions_Create", NATS_NO_MEMORY);
    auto const session = make_session();

    EXPECT_THROW(session->connect(), connection_failed);

    EXPECT_THAT(nats.calls(), ElementsAre("natsOptions_Create", "natsConnection_Close"));
}

TEST_F(unconnected_session, does_not_connect_without_a_url) {
    nats.fail_next("natsOptions_SetURL", NATS_NO_MEMORY);
    auto const session = make_session();

    EXPECT_THROW(session->connect(), connection_failed);

    EXPECT_THAT(nats.calls(), Not(Contains("natsConnection_Connect")));
}

TEST_F(unconnected_session, connects_although_its_name_makes_no_inbox_prefix) {
    nats.skip_token_handler();
    nats.fail_next("natsOptions_SetCustomInboxPrefix", NATS_INVALID_ARG);
    auto const session = make_session();

    session->connect();
}

TEST_F(unconnected_session, leaves_trimming_a_url_to_the_nats_client) {
    nats.skip_token_handler();
    server_url = " nats://hub ";
    auto const session = make_session();

    session->connect();

    EXPECT_EQ(nats.calls().at(1), "natsOptions_SetURL  nats://hub ");
}

struct blank_url {
    char const* name;
    char const* url;
    char const* message;
};

class session_with_a_blank_url : public unconnected_session,
                                 public testing::WithParamInterface<blank_url> {};

// The NATS client would destroy the heap.
TEST_P(session_with_a_blank_url, is_refused_before_the_nats_client_sees_the_url) {
    server_url = GetParam().url;
    auto const session = make_session();

    EXPECT_EQ(thrown_message<connection_failed>([&] { session->connect(); }), GetParam().message);

    EXPECT_THAT(nats.calls(), ElementsAre("natsOptions_Create", "natsConnection_Close"));
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    session_with_a_blank_url,
    testing::Values(
        blank_url{
            "empty",
            "",
            "Provider boiler: failed to connect to the NATS server at , NATS returns: 16 = Invalid "
            "Argument\n"},
        blank_url{
            "white_space",
            " \t\n\v\f\r",
            "Provider boiler: failed to connect to the NATS server at  \t\n\v\f\r, NATS returns: "
            "16 = Invalid Argument\n"}),
    case_name);

TEST_F(unconnected_session, hands_out_the_token_that_it_obtains) {
    raw_http_server endpoint{[](auto& client) {
        client.send(http_reply(R"({"access_token":"abc"})"));
    }};
    token_endpoint = endpoint.get_url();
    auto const session = make_session();

    session->connect();

    EXPECT_THAT(nats.tokens(), ElementsAre("abc"));
}

// As with a server that wants no token.
TEST_F(unconnected_session, has_failed_when_there_is_no_token_although_it_is_let_in) {
    captured_stream const error{std::cerr};
    token_endpoint = "";
    auto const session = make_session();

    EXPECT_EQ(
        thrown_message<connection_failed>([&] { session->connect(); }),
        "Provider boiler: failed to connect to the NATS server at nats://127.0.0.1:4222, NATS "
        "returns: 0 = OK\n");

    EXPECT_TRUE(session->has_failed());
    EXPECT_EQ(nats.open_connections(), 0);
    EXPECT_THAT(nats.tokens(), ElementsAre(std::nullopt));
    EXPECT_EQ(
        error.flushed_text(),
        "Failed to receive new NATS authentication token: Authentication failed:\nEndpoint: \n"
        "CURL call failed, returned 3\n\n");
}

class session : public unconnected_session {
protected:
    void SetUp() override {
        nats.skip_token_handler();
        subject->connect();
        owner->session = subject.get();
        nats.forget_calls();
    }

    void subscribe_to_tick() {
        subject->subscribe<tick_subscription, &session_owner::record>("tick", *registration);
    }

    bool flush() {
        return subject->flush(std::chrono::milliseconds{250});
    }

    std::string message_of_request(std::string const& asked) {
        return thrown_message<connection_failed>([&] { subject->request("ask", asked, ""); });
    }

    std::shared_ptr<nats_session> subject = make_session();
};

TEST_F(session, hands_messages_to_a_member_of_their_owner) {
    subscribe_to_tick();

    nats.deliver({.subject = "tick", .bytes = "abc"});

    EXPECT_THAT(owner->events, ElementsAre("abc"));
}

TEST_F(session, subscribes_for_several_owners) {
    auto const other = std::make_shared<session_owner>();
    owner_registration const other_registration{gate, other};

    subject->subscribe<tick_subscription, &session_owner::record>("tick", other_registration);

    nats.deliver({.subject = "tick", .bytes = "abc"});
    EXPECT_THAT(other->events, ElementsAre("abc"));
    EXPECT_THAT(owner->events, IsEmpty());
}

TEST_F(session, gives_the_nats_client_numbers_for_closures_and_no_addresses) {
    subscribe_to_tick();

    EXPECT_NE(nats.subscriptions().at(0).closure, owner.get());
    EXPECT_LT(reinterpret_cast<std::uintptr_t>(nats.subscriptions().at(0).closure), 4096U);
}

TEST_F(session, has_failed_when_a_subscription_is_refused) {
    nats.fail_next("natsConnection_Subscribe", NATS_INVALID_SUBJECT);

    EXPECT_EQ(
        thrown_message<connection_failed>([&] {
            subject->subscribe<tick_subscription, &session_owner::record>("a b", *registration);
        }),
        "Provider boiler: failed to subscribe to the tick (related sujbect: a b), NATS returns: 15 "
        "= Invalid Subject\n");

    EXPECT_TRUE(subject->has_failed());
}

TEST_F(session, leaves_out_the_subject_where_the_kind_of_subscription_says_so) {
    nats.fail_next("natsConnection_Subscribe", NATS_INVALID_SUBJECT);

    EXPECT_EQ(
        thrown_message<connection_failed>([&] {
            subject->subscribe<subject_less_subscription, &session_owner::record>(
                "a b", *registration);
        }),
        "Provider boiler: failed to subscribe to the tock, NATS returns: 15 = Invalid Subject\n");
}

TEST_F(session, publishes) {
    subject->publish("publish", "tock", std::string_view{"a\0b", 3});

    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Publish tock 3"));
    EXPECT_EQ(nats.published("tock").at(0).bytes, std::string("a\0b", 3));
    EXPECT_FALSE(subject->has_failed());
}

TEST_F(session, has_failed_when_a_publication_fails) {
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);

    EXPECT_EQ(
        thrown_message<connection_failed>([&] { subject->publish("publish a", "tock", "abc"); }),
        "Provider boiler: failed to publish a (related sujbect: tock), NATS returns: 3 = IO "
        "Error\n");

    EXPECT_TRUE(subject->has_failed());
}

TEST_F(session, requests_with_a_timeout_of_five_seconds) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});

    auto const reply = subject->request("ask", "ask", "abc");

    EXPECT_EQ(reply.bytes(), "answer");
    EXPECT_TRUE(subject->has_received(reply));
    EXPECT_EQ(nats.requests("ask").at(0).bytes, "abc");
    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Request ask 3 5000"));
}

TEST_F(session, has_not_failed_when_a_request_fails) {
    nats.answer_requests("ask", fake_nats::request_answer{.status = NATS_TIMEOUT});

    EXPECT_EQ(
        message_of_request("ask"),
        "Provider boiler: failed to ask (related sujbect: ask), NATS returns: 26 = Timeout\n");
    EXPECT_EQ(
        message_of_request("nobody"),
        "Provider boiler: failed to ask (related sujbect: nobody), NATS returns: 34 = No "
        "responders "
        "available for request\n");

    EXPECT_FALSE(subject->has_failed());
}

TEST_F(session, requests_although_it_is_disconnected) {
    captured_stream const errors{std::cerr};
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    nats.lose_connection();

    EXPECT_NO_THROW(subject->request("ask", "ask", ""));
}

TEST_F(session, has_received_only_its_own_messages) {
    auto const other = make_session();
    other->connect();
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});

    auto const reply = other->request("ask", "ask", "");

    EXPECT_FALSE(subject->has_received(reply));
}

TEST_F(session, calls_its_owner_back_and_keeps_exceptions_to_itself) {
    captured_stream const error{std::cerr};

    nats.lose_connection();
    nats.regain_connection();

    EXPECT_THAT(owner->events, ElementsAre("disconnected", "reconnected"));
    EXPECT_EQ(error.flushed_text(), "a callback failed\n");
}

TEST_F(session, reports_what_leaves_a_handler_and_goes_on) {
    captured_stream const error{std::cerr};
    subject->subscribe<tick_subscription, &session_owner::throw_an_exception>(
        "exception", *registration);
    subject->subscribe<tick_subscription, &session_owner::throw_a_number>("number", *registration);

    nats.deliver({.subject = "exception"});
    nats.deliver({.subject = "number"});

    EXPECT_EQ(
        error.flushed_text(),
        "a handler failed\n"
        "A callback ended with an exception that is not a std::exception\n");
}

// The end of a subscription

TEST_F(session, ends_a_subscription_but_destroys_it_only_after_a_round_trip) {
    subscribe_to_tick();

    subject->unsubscribe(*registration);

    EXPECT_THAT(
        nats.calls(),
        ElementsAre("natsConnection_Subscribe tick", "natsSubscription_Unsubscribe tick"));
    nats.forget_calls();
    EXPECT_TRUE(flush());
    EXPECT_THAT(
        nats.calls(),
        ElementsAre("natsConnection_FlushTimeout 250", "natsSubscription_Destroy tick"));
}

TEST_F(session, keeps_an_ended_subscription_when_the_round_trip_fails) {
    subscribe_to_tick();
    subject->unsubscribe(*registration);
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);

    EXPECT_FALSE(flush());

    EXPECT_THAT(nats.calls(), Not(Contains("natsSubscription_Destroy tick")));
    EXPECT_TRUE(flush());
    EXPECT_THAT(nats.calls(), Contains("natsSubscription_Destroy tick"));
}

TEST_F(session, keeps_a_subscription_that_ends_while_the_round_trip_fails) {
    subscribe_to_tick();
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);
    nats.when_called("natsConnection_FlushTimeout", [&] { subject->unsubscribe(*registration); });

    EXPECT_FALSE(flush());

    EXPECT_THAT(nats.calls(), Not(Contains("natsSubscription_Destroy tick")));
}

TEST_F(session, destroys_an_ended_subscription_at_its_own_end_without_a_round_trip) {
    subscribe_to_tick();
    subject->unsubscribe(*registration);
    nats.forget_calls();

    subject.reset();

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Close",
            "natsSubscription_Destroy tick",
            "natsConnection_Destroy",
            "natsOptions_Destroy"));
}

TEST_F(session, ends_a_subscription_once) {
    subscribe_to_tick();
    subject->unsubscribe(*registration);
    nats.forget_calls();

    subject->unsubscribe(*registration);

    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(session, ends_the_subscriptions_of_one_owner_and_keeps_the_others) {
    auto const other = std::make_shared<session_owner>();
    owner_registration other_registration{gate, other};
    subscribe_to_tick();
    subject->subscribe<tick_subscription, &session_owner::record>("tock", other_registration);
    subject->subscribe<tick_subscription, &session_owner::record>("tack", other_registration);

    subject->unsubscribe(other_registration);
    EXPECT_TRUE(flush());

    EXPECT_THAT(nats.open_subjects(), ElementsAre("tick"));
    EXPECT_THAT(
        nats.calls(),
        IsSupersetOf({"natsSubscription_Destroy tock", "natsSubscription_Destroy tack"}));
}

// Only a flush that begins after the end of a subscription proves anything about it.
TEST_F(session, keeps_a_subscription_that_ends_while_a_round_trip_is_running) {
    subscribe_to_tick();
    nats.when_called("natsConnection_FlushTimeout", [&] { subject->unsubscribe(*registration); });

    EXPECT_TRUE(flush());

    EXPECT_THAT(nats.calls(), Not(Contains("natsSubscription_Destroy tick")));
    EXPECT_TRUE(flush());
    EXPECT_THAT(nats.calls(), Contains("natsSubscription_Destroy tick"));
}

// Replies

class replying : public session {
protected:
    void SetUp() override {
        session::SetUp();
        subject->subscribe<tick_subscription, &session_owner::reply>("tick", *registration);
        nats.forget_calls();
    }
};

TEST_F(replying, flushes_a_reply_when_nothing_is_queued) {
    nats.deliver({.subject = "tick", .reply = "inbox"});

    EXPECT_EQ(nats.published("inbox").at(0).bytes, std::string("ab\0c", 4));
    EXPECT_THAT(nats.calls(), Contains("natsConnection_FlushTimeout 500"));
}

TEST_F(replying, leaves_a_reply_to_the_nats_client_while_messages_are_queued) {
    nats.hold_deliveries();
    nats.deliver({.subject = "tick", .reply = "later"}, fake_nats::run_on::own_thread);

    nats.deliver({.subject = "tick", .reply = "inbox"});

    EXPECT_THAT(nats.published("inbox"), SizeIs(1));
    EXPECT_THAT(nats.calls(), Not(Contains("natsConnection_FlushTimeout 500")));
}

TEST_F(replying, has_not_failed_when_the_flush_fails) {
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);

    nats.deliver({.subject = "tick", .reply = "inbox"});

    EXPECT_FALSE(subject->has_failed());
}

TEST_F(replying, counts_nothing_as_queued_when_that_cannot_be_found_out) {
    nats.fail_next("natsSubscription_GetPending", NATS_INVALID_SUBSCRIPTION);

    nats.deliver({.subject = "tick", .reply = "inbox"});

    EXPECT_THAT(nats.calls(), Contains("natsConnection_FlushTimeout 500"));
}

TEST_F(replying, has_failed_when_a_reply_cannot_be_sent) {
    captured_stream const error{std::cerr};
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);

    nats.deliver({.subject = "tick", .reply = "inbox"});

    EXPECT_EQ(
        error.flushed_text(),
        "Provider boilerFailed to publish reply to read request (4 bytes @ab) to subject inbox: "
        "NATS returns 3 = IO Error\n");
    EXPECT_TRUE(subject->has_failed());
}

// The end of the session

TEST_F(session, ends_in_the_order_that_the_nats_client_needs) {
    subscribe_to_tick();
    subject->subscribe<tick_subscription, &session_owner::record>("tock", *registration);
    nats.forget_calls();

    subject->close();

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsSubscription_Unsubscribe tick",
            "natsSubscription_Unsubscribe tock",
            "natsConnection_Close"));
    EXPECT_TRUE(subject->is_closed());
    nats.forget_calls();
    subject.reset();
    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Close",
            "natsSubscription_Destroy tick",
            "natsSubscription_Destroy tock",
            "natsConnection_Destroy",
            "natsOptions_Destroy"));
}

TEST_F(session, is_open_until_it_is_closed) {
    EXPECT_FALSE(subject->is_closed());

    subject->close();

    EXPECT_TRUE(subject->is_closed());
}

TEST_F(session, refuses_everything_after_its_end) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    subscribe_to_tick();
    subject->close();

    EXPECT_THROW(subject->publish("publish", "tock", ""), connection_failed);
    EXPECT_FALSE(flush());
    EXPECT_THROW(subscribe_to_tick(), connection_failed);
    EXPECT_EQ(
        message_of_request("ask"),
        "Provider boiler: failed to ask (related sujbect: ask), NATS returns: 5 = Connection "
        "Closed\n");
    EXPECT_THAT(nats.requests(), IsEmpty());
    subject->unsubscribe(*registration);
    subject->close();
}

TEST_F(session, refuses_requests_as_soon_as_its_end_begins) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});

    subject->begin_close();

    EXPECT_TRUE(subject->is_closed());
    EXPECT_THROW(subject->request("ask", "ask", ""), connection_failed);
    EXPECT_EQ(nats.open_connections(), 1);
}

TEST_F(session, turns_callbacks_away_after_its_end_and_releases_their_messages) {
    subscribe_to_tick();
    auto const made = nats.subscriptions().at(0);
    subject->close();

    made.handler(
        made.connection, made.handle, nats.make_message({.subject = "tick"}), made.closure);
    made.handler(made.connection, made.handle, nullptr, made.closure);
    nats.lose_connection();
    nats.regain_connection();

    EXPECT_THAT(owner->events, IsEmpty());
}

TEST_F(unconnected_session, fetches_no_token_after_its_end) {
    raw_http_server endpoint{[](auto& client) {
        client.send(http_reply(R"({"access_token":"abc"})"));
    }};
    token_endpoint = endpoint.get_url();
    auto const session = make_session();
    session->connect();
    session->close();

    nats.regain_connection();

    EXPECT_THAT(nats.tokens(), ElementsAre("abc", std::nullopt));
}

TEST_F(session, turns_callbacks_away_when_its_owner_is_gone) {
    auto passing = std::make_shared<session_owner>();
    auto const passing_registration = std::make_shared<owner_registration>(gate, passing);
    auto const other = make_session(passing_registration);
    other->connect();
    other->subscribe<tick_subscription, &session_owner::record>("tick", *passing_registration);
    passing.reset();

    EXPECT_EQ(nats.deliver({.subject = "tick"}), 1);
    nats.lose_connection();
    nats.regain_connection();
}

TEST_F(session, lets_running_requests_end_before_it_closes_the_connection) {
    std::latch asked{1};
    std::latch may_answer{1};
    nats.answer_requests("ask", [&](std::string const& /*bytes*/) {
        asked.count_down();
        may_answer.wait();
        return fake_nats::request_answer{.bytes = "answer"};
    });
    auto request = std::async(std::launch::async, [&] {
        return std::string{subject->request("ask", "ask", "").bytes()};
    });
    asked.wait();
    auto close = std::async(std::launch::async, [&] { subject->close(); });
    ASSERT_TRUE(await([&] { return subject->is_closed(); }));

    EXPECT_THROW(subject->request("ask", "ask", ""), connection_failed);
    EXPECT_EQ(nats.open_connections(), 1);
    may_answer.count_down();

    EXPECT_EQ(request.get(), "answer");
    close.get();
    EXPECT_EQ(nats.open_connections(), 0);
}

TEST_F(session, refuses_requests_before_it_ends_its_subscriptions) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    subscribe_to_tick();
    bool refused = false;
    nats.when_called(
        "natsSubscription_Unsubscribe", [&] { refused = !message_of_request("ask").empty(); });

    subject->close();

    EXPECT_TRUE(refused);
}

TEST_F(session, may_be_closed_by_a_handler) {
    subject->subscribe<tick_subscription, &session_owner::close>("tick", *registration);

    nats.deliver({.subject = "tick"});

    EXPECT_TRUE(subject->is_closed());
    EXPECT_EQ(nats.open_connections(), 0);
}

class shared_session : public session {
protected:
    void use_until_closed() {
        try {
            for (int round = 0; round < 50; ++round) {
                owner_registration own{gate, owner};
                subject->subscribe<tick_subscription, &session_owner::record>("tick", own);
                subject->unsubscribe(own);
                subject->request("ask", "ask", "");
                subject->publish("publish", "tock", "");
                flush();
            }
        } catch (connection_failed const&) { // another thread has closed the session
            EXPECT_TRUE(subject->is_closed());
        }
    }
};

TEST_F(shared_session, may_be_closed_by_many_threads_that_still_use_it) {
    constexpr int count = 6;
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    std::latch begin{count};
    std::vector<std::future<void>> users;
    for (int number = 0; number < count; ++number) {
        users.push_back(std::async(std::launch::async, [&] {
            begin.arrive_and_wait();
            use_until_closed();
            subject->close();
        }));
    }
    for (auto& user : users) {
        user.get();
    }

    EXPECT_EQ(nats.open_connections(), 0);
}

} // namespace

} // namespace arvenhold::corvel::hub
