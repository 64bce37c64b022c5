// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/callback_boundary.hpp"
#include "runtime/nats_session.hpp"
#include "support/await.hpp"
#include "support/captured_stream.hpp"
#include "support/case_name.hpp"
#include "support/fake_nats.hpp"
#include "support/raw_http_server.hpp"

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
using testing::Not;

// What a role is to its session.
struct session_owner {
    std::vector<std::string> events;

    static void take_message(
        natsConnection* /*connection*/,
        natsSubscription* /*subscription*/,
        natsMsg* raw_message,
        void* closure) {
        nats_message const message{raw_message};
        static_cast<session_owner*>(closure)->events.emplace_back(bytes_of(message));
    }

    static void throw_an_exception(
        natsConnection* /*connection*/,
        natsSubscription* /*subscription*/,
        natsMsg* raw_message,
        void* /*closure*/) {
        nats_message const message{raw_message};
        throw std::runtime_error{"a handler failed"};
    }

    static void throw_a_number(
        natsConnection* /*connection*/,
        natsSubscription* /*subscription*/,
        natsMsg* raw_message,
        void* /*closure*/) {
        nats_message const message{raw_message};
        throw 7;
    }

    static void reconnected(natsConnection* /*connection*/, void* closure) {
        static_cast<session_owner*>(closure)->events.emplace_back("reconnected");
    }

    static void disconnected(natsConnection* /*connection*/, void* closure) {
        static_cast<session_owner*>(closure)->events.emplace_back("disconnected");
        throw std::runtime_error{"a callback failed"};
    }
};

constexpr auto take_message = &message_entrance<&session_owner::take_message>;

class unconnected_session : public testing::Test {
protected:
    std::string server_url{"nats://127.0.0.1:4222"};
    connect_options options;
    token_parameters token{
        "boiler",
        "http://127.0.0.1:1/token",
        "developer",
        "developer-secret",
        "hub.variables.provide",
        {}};

    std::shared_ptr<nats_session> make_session() {
        return make_session(owner);
    }

    std::shared_ptr<nats_session> make_session(std::weak_ptr<void> called) {
        return std::make_shared<nats_session>(
            session_settings{
                server_url,
                "boiler",
                "_INBOX.boiler",
                std::make_shared<token_parameters const>(token),
                &connection_event_entrance<&session_owner::reconnected>,
                &connection_event_entrance<&session_owner::disconnected>,
                options},
            gate,
            std::move(called));
    }

    fake_nats nats;
    std::shared_ptr<callback_gate> const gate = std::make_shared<callback_gate>();
    std::shared_ptr<session_owner> const owner = std::make_shared<session_owner>();
};

TEST_F(unconnected_session, makes_its_options_in_this_order_and_connects) {
    nats.skip_token_handler();
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_OK);

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
            "natsConnection_Connect"));
}

TEST_F(unconnected_session, sends_immediately_when_told_to) {
    nats.skip_token_handler();
    options.send_immediately = true;
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_OK);

    EXPECT_THAT(nats.calls(), Contains("natsOptions_SetSendAsap true"));
}

TEST_F(unconnected_session, releases_everything_when_it_was_never_connected) {
    make_session();

    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Close"));
}

TEST_F(unconnected_session, reports_why_it_cannot_connect_and_keeps_no_connection) {
    nats.fail_next("natsConnection_Connect", NATS_NO_SERVER);
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_NO_SERVER);

    EXPECT_EQ(nats.open_connections(), 0);
}

// Without options the NATS client would connect to its default server.
TEST_F(unconnected_session, does_not_connect_without_options) {
    nats.fail_next("natsOptions_Create", NATS_NO_MEMORY);
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_NO_MEMORY);

    EXPECT_THAT(nats.calls(), ElementsAre("natsOptions_Create"));
}

TEST_F(unconnected_session, does_not_connect_without_a_url) {
    nats.fail_next("natsOptions_SetURL", NATS_NO_MEMORY);
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_NO_MEMORY);

    EXPECT_THAT(nats.calls(), Not(Contains("natsConnection_Connect")));
}

TEST_F(unconnected_session, connects_although_its_name_makes_no_inbox_prefix) {
    nats.skip_token_handler();
    nats.fail_next("natsOptions_SetCustomInboxPrefix", NATS_INVALID_ARG);
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_OK);
}

struct url_case {
    char const* name;
    char const* url;
    char const* call;
};

class session_url : public unconnected_session, public testing::WithParamInterface<url_case> {};

TEST_P(session_url, reaches_the_nats_client_unless_it_is_blank) {
    nats.skip_token_handler();
    server_url = GetParam().url;
    auto const session = make_session();

    session->connect();

    EXPECT_EQ(nats.calls().at(1), GetParam().call);
}

INSTANTIATE_TEST_SUITE_P(
    of_every_kind,
    session_url,
    testing::Values(
        url_case{"empty", "", "natsOptions_SetURL"},
        url_case{"one_blank", " ", "natsOptions_SetURL"},
        url_case{"all_white_space", " \t\n\v\f\r", "natsOptions_SetURL"},
        url_case{"blanks_around", " nats://hub ", "natsOptions_SetURL  nats://hub "}),
    case_name);

TEST_F(unconnected_session, hands_out_the_token_that_its_parameters_are_granted) {
    raw_http_server endpoint{[](auto& client) {
        client.send(http_reply(R"({"access_token":"abc"})"));
    }};
    token.endpoint = endpoint.get_url();
    auto const session = make_session();

    session->connect();

    EXPECT_THAT(nats.tokens(), ElementsAre("abc"));
}

TEST_F(unconnected_session, tells_its_owner_when_there_is_no_token) {
    captured_stream const error{std::cerr};
    std::vector<std::string> failures;
    token.endpoint = "";
    token.on_failure = [&](authentication_failed const& failure) {
        failures.emplace_back(failure.what());
    };
    auto const session = make_session();

    EXPECT_EQ(session->connect(), NATS_OK); // as with a server that wants none

    EXPECT_THAT(nats.tokens(), ElementsAre(std::nullopt));
    EXPECT_THAT(
        failures,
        ElementsAre("Authentication failed:\nEndpoint: \nCURL call failed, returned 3\n"));
}

class session : public unconnected_session {
protected:
    void SetUp() override {
        nats.skip_token_handler();
        subject->connect();
        nats.forget_calls();
    }

    std::shared_ptr<nats_session> subject = make_session();
};

TEST_F(session, subscribes_for_its_owner) {
    auto const outcome = subject->subscribe("tick", take_message);

    EXPECT_EQ(outcome.status, NATS_OK);
    EXPECT_NE(outcome.subscription, nullptr);
    nats.deliver({.subject = "tick", .bytes = "abc"});
    EXPECT_THAT(owner->events, ElementsAre("abc"));
}

TEST_F(session, subscribes_for_somebody_else) {
    auto const other = std::make_shared<session_owner>();
    callback_registration const registration{gate, other};

    subject->subscribe("tick", take_message, registration.closure());

    nats.deliver({.subject = "tick", .bytes = "abc"});
    EXPECT_THAT(other->events, ElementsAre("abc"));
    EXPECT_THAT(owner->events, IsEmpty());
}

TEST_F(session, gives_the_nats_client_numbers_for_closures_and_no_addresses) {
    subject->subscribe("tick", take_message);

    EXPECT_NE(nats.subscriptions().at(0).closure, owner.get());
    EXPECT_LT(reinterpret_cast<std::uintptr_t>(nats.subscriptions().at(0).closure), 4096U);
}

TEST_F(session, reports_a_subscription_that_fails) {
    nats.fail_next("natsConnection_Subscribe", NATS_INVALID_SUBJECT);

    auto const outcome = subject->subscribe("a b", take_message);

    EXPECT_EQ(outcome.status, NATS_INVALID_SUBJECT);
    EXPECT_EQ(outcome.subscription, nullptr);
}

TEST_F(session, publishes) {
    EXPECT_EQ(subject->publish("tock", std::string_view{"a\0b", 3}), NATS_OK);

    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Publish tock 3"));
    EXPECT_EQ(nats.published("tock").at(0).bytes, std::string("a\0b", 3));
}

TEST_F(session, reports_a_publication_that_fails) {
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);

    EXPECT_EQ(subject->publish("tock", "abc"), NATS_IO_ERROR);
}

TEST_F(session, requests_with_a_limit_of_five_seconds) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});

    auto const outcome = subject->request("ask", "abc");

    EXPECT_EQ(outcome.status, NATS_OK);
    EXPECT_EQ(bytes_of(outcome.reply), "answer");
    EXPECT_EQ(nats.requests("ask").at(0).bytes, "abc");
    EXPECT_THAT(nats.calls(), ElementsAre("natsConnection_Request ask 3 5000"));
}

TEST_F(session, reports_a_request_that_fails) {
    nats.answer_requests("ask", fake_nats::request_answer{.status = NATS_TIMEOUT});

    auto const silent = subject->request("ask", "");
    auto const unknown = subject->request("nobody", "");

    EXPECT_EQ(silent.status, NATS_TIMEOUT);
    EXPECT_FALSE(silent.reply);
    EXPECT_EQ(unknown.status, NATS_NO_RESPONDERS);
    EXPECT_FALSE(unknown.reply);
}

TEST_F(session, calls_its_owner_back_and_keeps_exceptions_to_itself) {
    captured_stream const error{std::cerr};

    nats.lose_connection();
    nats.regain_connection();

    EXPECT_THAT(owner->events, ElementsAre("disconnected", "reconnected"));
    EXPECT_EQ(error.flushed_text(), "a callback failed\n");
}

TEST_F(session, writes_what_leaves_a_handler_and_goes_on) {
    captured_stream const error{std::cerr};
    subject->subscribe("exception", &message_entrance<&session_owner::throw_an_exception>);
    subject->subscribe("number", &message_entrance<&session_owner::throw_a_number>);

    nats.deliver({.subject = "exception"});
    nats.deliver({.subject = "number"});

    EXPECT_EQ(
        error.flushed_text(),
        "a handler failed\n"
        "A callback ended with an exception that is not a std::exception\n");
}

// The end of a subscription

TEST_F(session, ends_a_subscription_but_destroys_it_only_after_a_round_trip) {
    auto const outcome = subject->subscribe("tick", take_message);

    subject->unsubscribe(outcome.subscription);

    EXPECT_THAT(
        nats.calls(),
        ElementsAre("natsConnection_Subscribe tick", "natsSubscription_Unsubscribe tick"));
    nats.forget_calls();
    EXPECT_EQ(subject->flush(std::chrono::milliseconds{250}), NATS_OK);
    EXPECT_THAT(
        nats.calls(),
        ElementsAre("natsConnection_FlushTimeout 250", "natsSubscription_Destroy tick"));
}

TEST_F(session, keeps_an_ended_subscription_when_the_round_trip_fails) {
    auto const outcome = subject->subscribe("tick", take_message);
    subject->unsubscribe(outcome.subscription);
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);

    EXPECT_EQ(subject->flush(std::chrono::milliseconds{250}), NATS_TIMEOUT);

    EXPECT_THAT(nats.calls(), Not(Contains("natsSubscription_Destroy tick")));
    subject->flush(std::chrono::milliseconds{250});
    EXPECT_THAT(nats.calls(), Contains("natsSubscription_Destroy tick"));
}

TEST_F(session, keeps_a_subscription_that_ends_while_the_round_trip_fails) {
    auto const outcome = subject->subscribe("tick", take_message);
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);
    nats.when_called(
        "natsConnection_FlushTimeout", [&] { subject->unsubscribe(outcome.subscription); });

    EXPECT_EQ(subject->flush(std::chrono::milliseconds{250}), NATS_TIMEOUT);

    EXPECT_THAT(nats.calls(), Not(Contains("natsSubscription_Destroy tick")));
}

TEST_F(session, destroys_an_ended_subscription_at_its_own_end_without_a_round_trip) {
    auto const outcome = subject->subscribe("tick", take_message);
    subject->unsubscribe(outcome.subscription);
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
    auto const outcome = subject->subscribe("tick", take_message);
    subject->unsubscribe(outcome.subscription);
    nats.forget_calls();

    subject->unsubscribe(outcome.subscription);
    subject->unsubscribe(nullptr);

    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(session, keeps_other_subscriptions_when_one_ends) {
    subject->subscribe("tick", take_message);
    auto const outcome = subject->subscribe("tock", take_message);

    subject->unsubscribe(outcome.subscription);
    subject->flush(std::chrono::milliseconds{250});

    EXPECT_THAT(nats.open_subjects(), ElementsAre("tick"));
}

// Flushing after a reply

TEST_F(session, flushes_a_reply_when_nothing_is_waiting) {
    auto const outcome = subject->subscribe("tick", take_message);

    subject->flush_when_idle(outcome.subscription);

    EXPECT_THAT(nats.calls(), Contains("natsConnection_FlushTimeout 500"));
}

TEST_F(session, leaves_a_reply_to_the_nats_client_while_messages_are_waiting) {
    auto const outcome = subject->subscribe("tick", take_message);
    nats.hold_deliveries();
    nats.deliver({.subject = "tick"}, fake_nats::run_on::own_thread);

    subject->flush_when_idle(outcome.subscription);

    EXPECT_THAT(nats.calls(), Not(Contains("natsConnection_FlushTimeout 500")));
}

TEST_F(session, takes_a_failing_flush_after_a_reply_for_nothing) {
    auto const outcome = subject->subscribe("tick", take_message);
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);

    subject->flush_when_idle(outcome.subscription);

    EXPECT_EQ(subject->publish("tock", ""), NATS_OK);
}

TEST_F(session, counts_nothing_as_waiting_when_that_cannot_be_found_out) {
    auto const outcome = subject->subscribe("tick", take_message);
    nats.fail_next("natsSubscription_GetPending", NATS_INVALID_SUBSCRIPTION);

    subject->flush_when_idle(outcome.subscription);

    EXPECT_THAT(nats.calls(), Contains("natsConnection_FlushTimeout 500"));
}

// The end of the session

TEST_F(session, ends_in_the_order_that_the_nats_client_needs) {
    subject->subscribe("tick", take_message);
    subject->subscribe("tock", take_message);
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
            "natsSubscription_Unsubscribe tick",
            "natsSubscription_Unsubscribe tock",
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
    auto const outcome = subject->subscribe("tick", take_message);
    subject->close();

    EXPECT_EQ(subject->publish("tock", ""), NATS_CONNECTION_CLOSED);
    EXPECT_EQ(subject->flush(std::chrono::milliseconds{250}), NATS_CONNECTION_CLOSED);
    EXPECT_EQ(subject->subscribe("more", take_message).status, NATS_CONNECTION_CLOSED);
    EXPECT_EQ(subject->subscribe("more", take_message).subscription, nullptr);
    subject->flush_when_idle(outcome.subscription);
    subject->unsubscribe(outcome.subscription);
    subject->close();
}

TEST_F(session, makes_no_request_after_its_end) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    subject->close();

    auto const outcome = subject->request("ask", "");

    EXPECT_EQ(outcome.status, NATS_CONNECTION_CLOSED);
    EXPECT_FALSE(outcome.reply);
    EXPECT_THAT(nats.requests(), IsEmpty());
}

TEST_F(session, turns_callbacks_away_after_its_end_and_releases_their_messages) {
    subject->subscribe("tick", take_message);
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
    captured_stream const error{std::cerr};
    token.endpoint = "";
    auto const session = make_session();
    session->connect();
    session->close();

    nats.regain_connection();

    EXPECT_THAT(nats.tokens(), ElementsAre(std::nullopt, std::nullopt));
    EXPECT_EQ(
        error.text(),
        "Failed to receive new NATS authentication token: Authentication failed:\nEndpoint: \n"
        "CURL call failed, returned 3\n\n");
}

TEST_F(session, turns_callbacks_away_when_its_owner_is_gone) {
    auto passing = std::make_shared<session_owner>();
    auto const other = make_session(passing);
    other->connect();
    other->subscribe("tick", take_message);
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
        return fake_nats::fake_nats::request_answer{.bytes = "answer"};
    });
    auto request = std::async(std::launch::async, [&] { return subject->request("ask", ""); });
    asked.wait();
    auto close = std::async(std::launch::async, [&] { subject->close(); });
    ASSERT_TRUE(await([&] { return subject->is_closed(); }));

    EXPECT_EQ(subject->request("ask", "").status, NATS_CONNECTION_CLOSED);
    EXPECT_EQ(nats.open_connections(), 1);
    may_answer.count_down();

    EXPECT_EQ(bytes_of(request.get().reply), "answer");
    close.get();
    EXPECT_EQ(nats.open_connections(), 0);
}

TEST_F(session, refuses_requests_as_soon_as_it_begins_to_close) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    subject->subscribe("tick", take_message);
    std::optional<natsStatus> meanwhile;
    nats.when_called(
        "natsSubscription_Unsubscribe", [&] { meanwhile = subject->request("ask", "").status; });

    subject->close();

    EXPECT_EQ(meanwhile, NATS_CONNECTION_CLOSED);
}

struct closing_owner {
    nats_session& closed;

    static void close(
        natsConnection* /*connection*/,
        natsSubscription* /*subscription*/,
        natsMsg* raw_message,
        void* closure) {
        nats_message const message{raw_message};
        static_cast<closing_owner*>(closure)->closed.close();
    }
};

TEST_F(session, may_be_closed_by_a_handler) {
    auto const closing = std::make_shared<closing_owner>(closing_owner{*subject});
    callback_registration const registration{gate, closing};
    subject->subscribe("tick", &message_entrance<&closing_owner::close>, registration.closure());

    nats.deliver({.subject = "tick"});

    EXPECT_TRUE(subject->is_closed());
    EXPECT_EQ(nats.open_connections(), 0);
}

TEST_F(session, may_be_closed_by_many_threads_that_still_use_it) {
    constexpr int count = 6;
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});
    std::latch begin{count};
    std::vector<std::future<void>> users;
    for (int number = 0; number < count; ++number) {
        users.push_back(std::async(std::launch::async, [&] {
            begin.arrive_and_wait();
            for (int round = 0; round < 50; ++round) {
                subject->unsubscribe(subject->subscribe("tick", take_message).subscription);
                subject->request("ask", "");
                subject->publish("tock", "");
                subject->flush(std::chrono::milliseconds{1});
            }
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
