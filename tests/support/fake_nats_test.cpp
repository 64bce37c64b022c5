// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/fake_nats.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <cstdint>
#include <future>
#include <latch>
#include <thread>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

struct received {
    std::string bytes{};
    std::string reply{};
    std::uintptr_t misalignment = 0;
    std::thread::id thread{};
    bool has_message = false;
};

void record(natsConnection* /*nc*/, natsSubscription* /*sub*/, natsMsg* message, void* closure) {
    auto& messages = *static_cast<std::vector<received>*>(closure);
    if (message == nullptr) {
        messages.push_back({.thread = std::this_thread::get_id()});
        return;
    }
    auto const* const data = natsMsg_GetData(message);
    auto const* const reply = natsMsg_GetReply(message);
    messages.push_back(
        {.bytes = {data, static_cast<std::size_t>(natsMsg_GetDataLength(message))},
         .reply = reply != nullptr ? reply : "<null>",
         .misalignment = reinterpret_cast<std::uintptr_t>(data) % 8,
         .thread = std::this_thread::get_id(),
         .has_message = true});
    natsMsg_Destroy(message);
}

// A connection with a subscription to "tick", released in the order that the NATS client needs.
class fake_nats_test : public testing::Test {
protected:
    void SetUp() override {
        natsOptions_Create(&options);
        natsConnection_Connect(&connection, options);
        natsConnection_Subscribe(&subscription, connection, "tick", &record, &messages);
    }

    void TearDown() override {
        natsConnection_Close(connection);
        natsSubscription_Destroy(subscription);
        natsConnection_Destroy(connection);
        natsOptions_Destroy(options);
    }

    fake_nats nats;
    natsOptions* options = nullptr;
    natsConnection* connection = nullptr;
    natsSubscription* subscription = nullptr;
    std::vector<received> messages;
};

TEST_F(fake_nats_test, records_calls_in_their_order) {
    natsConnection_Publish(connection, "tock", "abc", 3);
    natsConnection_FlushTimeout(connection, 500);

    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsOptions_Create",
            "natsConnection_Connect",
            "natsConnection_Subscribe tick",
            "natsConnection_Publish tock 3",
            "natsConnection_FlushTimeout 500"));
    ASSERT_THAT(nats.published("tock"), SizeIs(1));
    EXPECT_EQ(nats.published("tock").front().bytes, "abc");
}

TEST_F(fake_nats_test, delivers_at_the_chosen_misalignment_on_this_thread) {
    auto const reached =
        nats.deliver({.subject = "tick", .bytes = "abc", .reply = "inbox", .misalignment = 5});

    EXPECT_EQ(reached, 1);
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages.front().bytes, "abc");
    EXPECT_EQ(messages.front().reply, "inbox");
    EXPECT_EQ(messages.front().misalignment, 5);
    EXPECT_EQ(messages.front().thread, std::this_thread::get_id());
}

TEST_F(fake_nats_test, delivers_an_empty_message_and_none_at_all) {
    nats.deliver({.subject = "tick"});
    nats.deliver_null("tick");

    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_TRUE(messages.front().has_message);
    EXPECT_EQ(messages.front().reply, "<null>");
    EXPECT_FALSE(messages.back().has_message);
}

TEST_F(fake_nats_test, delivers_in_order_on_the_thread_of_the_subscription) {
    nats.hold_deliveries();
    nats.deliver({.subject = "tick", .bytes = "a"}, fake_nats::run_on::own_thread);
    nats.deliver({.subject = "tick", .bytes = "bc"}, fake_nats::run_on::own_thread);
    int pending = 0;
    int pending_bytes = 0;
    natsSubscription_GetPending(subscription, &pending, &pending_bytes);
    nats.release_deliveries();

    ASSERT_TRUE(nats.wait_until_delivered());
    EXPECT_EQ(pending, 2);
    EXPECT_EQ(pending_bytes, 3);
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(messages.front().bytes, "a");
    EXPECT_EQ(messages.back().bytes, "bc");
    EXPECT_NE(messages.front().thread, std::this_thread::get_id());
    EXPECT_EQ(messages.front().thread, messages.back().thread);
}

TEST_F(fake_nats_test, delivers_nothing_after_unsubscribing) {
    natsSubscription_Unsubscribe(subscription);

    EXPECT_EQ(nats.deliver({.subject = "tick"}), 0);
    EXPECT_THAT(messages, IsEmpty());
    EXPECT_THAT(nats.open_subjects(), IsEmpty());
}

TEST_F(fake_nats_test, answers_requests_by_script) {
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer", .misalignment = 3});
    nats.answer_requests("silent", fake_nats::request_answer{.status = NATS_TIMEOUT});
    natsMsg* answer = nullptr;
    natsMsg* none = nullptr;

    auto const answered = natsConnection_Request(&answer, connection, "ask", "?", 1, 5000);
    auto const silent = natsConnection_Request(&none, connection, "silent", "?", 1, 5000);
    auto const unknown = natsConnection_Request(&none, connection, "unknown", "?", 1, 5000);

    EXPECT_EQ(answered, NATS_OK);
    ASSERT_EQ(natsMsg_GetDataLength(answer), 6);
    EXPECT_EQ((std::string{natsMsg_GetData(answer), 6}), "answer");
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(natsMsg_GetData(answer)) % 8, 3);
    EXPECT_EQ(silent, NATS_TIMEOUT);
    EXPECT_EQ(unknown, NATS_NO_RESPONDERS);
    EXPECT_EQ(none, nullptr);
    natsMsg_Destroy(answer);
}

TEST_F(fake_nats_test, fails_the_nth_call_of_a_function_once) {
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR, 2);

    EXPECT_EQ(natsConnection_Publish(connection, "tock", nullptr, 0), NATS_OK);
    EXPECT_EQ(natsConnection_Publish(connection, "tock", nullptr, 0), NATS_IO_ERROR);
    EXPECT_EQ(natsConnection_Publish(connection, "tock", nullptr, 0), NATS_OK);
}

TEST_F(fake_nats_test, does_not_know_a_function_that_cannot_fail) {
    EXPECT_NONFATAL_FAILURE(
        nats.fail_next("natsConnection_Close", NATS_ERR),
        "fail_next: this function cannot fail: natsConnection_Close");
}

TEST_F(fake_nats_test, does_not_know_a_function_that_runs_no_actions) {
    EXPECT_NONFATAL_FAILURE(
        nats.when_called("natsMsg_destroy", [] {}),
        "when_called: this function runs no actions: natsMsg_destroy");
}

TEST_F(fake_nats_test, runs_an_action_in_a_call_once_each) {
    std::vector<std::string> seen;
    nats.when_called("natsConnection_FlushTimeout", [&] { seen.emplace_back("first"); });
    nats.when_called("natsConnection_FlushTimeout", [&] { seen.emplace_back("second"); });

    natsConnection_FlushTimeout(connection, 500);
    EXPECT_THAT(seen, ElementsAre("first"));
    natsConnection_FlushTimeout(connection, 500);
    natsConnection_FlushTimeout(connection, 500);

    EXPECT_THAT(seen, ElementsAre("first", "second"));
}

TEST_F(fake_nats_test, runs_an_action_in_a_publication_that_fails) {
    bool has_run = false;
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
    nats.when_called("natsConnection_Publish", [&] { has_run = true; });

    EXPECT_EQ(natsConnection_Publish(connection, "tock", nullptr, 0), NATS_IO_ERROR);

    EXPECT_TRUE(has_run);
}

// What a consumer sees when an event is published while it waits for the reply to a read request.
TEST_F(fake_nats_test, lets_a_test_deliver_an_event_before_a_reply) {
    nats.answer_requests("read", [this](std::string const& /*bytes*/) {
        nats.deliver({.subject = "tick", .bytes = "event"}, fake_nats::run_on::own_thread);
        EXPECT_TRUE(nats.wait_until_delivered());
        return fake_nats::request_answer{.bytes = "reply"};
    });
    natsMsg* reply = nullptr;

    natsConnection_Request(&reply, connection, "read", nullptr, 0, 5000);

    ASSERT_THAT(messages, SizeIs(1)); // handled although the request has just returned
    EXPECT_EQ(messages.front().bytes, "event");
    EXPECT_NE(messages.front().thread, std::this_thread::get_id());
    natsMsg_Destroy(reply);
}

TEST_F(fake_nats_test, lets_a_test_keep_an_event_back_until_the_reply_is_handled) {
    nats.answer_requests("read", [this](std::string const& /*bytes*/) {
        nats.hold_deliveries();
        nats.deliver({.subject = "tick", .bytes = "event"}, fake_nats::run_on::own_thread);
        return fake_nats::request_answer{.bytes = "reply"};
    });
    natsMsg* reply = nullptr;

    natsConnection_Request(&reply, connection, "read", nullptr, 0, 5000);
    EXPECT_THAT(messages, IsEmpty());
    natsMsg_Destroy(reply);
    nats.release_deliveries();

    ASSERT_TRUE(nats.wait_until_delivered());
    EXPECT_THAT(messages, SizeIs(1));
}

TEST_F(fake_nats_test, runs_an_action_after_a_publication) {
    std::string seen;
    nats.when_published("tock", [&](std::string const& bytes) { seen = bytes; });

    natsConnection_Publish(connection, "tock", "abc", 3);

    EXPECT_EQ(seen, "abc");
    EXPECT_TRUE(nats.wait_until_published("tock", 1));
}

TEST_F(fake_nats_test, finds_a_subscription_destroyed_while_the_connection_is_open) {
    natsSubscription* early = nullptr;
    natsConnection_Subscribe(&early, connection, "early", &record, &messages);
    natsSubscription_Unsubscribe(early);
    natsSubscription_Destroy(early);

    EXPECT_THAT(
        nats.drain_violations(),
        ElementsAre("natsSubscription_Destroy: the connection is open, and no flush came after "
                    "unsubscribing: early"));
}

TEST_F(fake_nats_test, allows_a_subscription_to_be_destroyed_after_a_successful_flush) {
    natsSubscription* early = nullptr;
    natsConnection_Subscribe(&early, connection, "early", &record, &messages);
    natsSubscription_Unsubscribe(early);
    natsConnection_FlushTimeout(connection, 500);
    natsSubscription_Destroy(early);

    EXPECT_THAT(nats.drain_violations(), IsEmpty());
}

TEST_F(fake_nats_test, does_not_take_a_failed_flush_for_one) {
    natsSubscription* early = nullptr;
    natsConnection_Subscribe(&early, connection, "early", &record, &messages);
    natsSubscription_Unsubscribe(early);
    nats.fail_next("natsConnection_FlushTimeout", NATS_TIMEOUT);
    natsConnection_FlushTimeout(connection, 500);
    natsSubscription_Destroy(early);

    EXPECT_THAT(nats.drain_violations(), SizeIs(1));
}

TEST_F(fake_nats_test, finds_a_request_in_flight_when_the_connection_is_closed) {
    std::latch closed{1};
    std::latch asked{1};
    nats.answer_requests("ask", [&](std::string const& /*bytes*/) {
        asked.count_down();
        closed.wait();
        return fake_nats::request_answer{.status = NATS_CONNECTION_CLOSED};
    });
    auto request = std::async(std::launch::async, [this] {
        natsMsg* reply = nullptr;
        return natsConnection_Request(&reply, connection, "ask", nullptr, 0, 5000);
    });
    asked.wait();

    natsConnection_Close(connection);
    closed.count_down();

    EXPECT_EQ(request.get(), NATS_CONNECTION_CLOSED);
    EXPECT_THAT(
        nats.drain_violations(), ElementsAre("natsConnection_Close: a request is in flight"));
}

TEST_F(fake_nats_test, finds_a_use_after_destruction_and_a_second_destruction) {
    auto* const message = nats.make_message({.subject = "late"});
    natsMsg_Destroy(message);

    EXPECT_EQ(natsMsg_GetDataLength(message), 0);
    natsMsg_Destroy(message);

    EXPECT_THAT(
        nats.drain_violations(),
        ElementsAre(
            "natsMsg_GetDataLength: used after it was destroyed: late",
            "natsMsg_Destroy: destroyed twice: late"));
}

TEST_F(fake_nats_test, refuses_everything_after_the_connection_is_closed) {
    natsConnection_Close(connection);
    natsMsg* reply = nullptr;

    EXPECT_EQ(natsConnection_Publish(connection, "tock", nullptr, 0), NATS_CONNECTION_CLOSED);
    EXPECT_EQ(natsConnection_FlushTimeout(connection, 1), NATS_CONNECTION_CLOSED);
    EXPECT_EQ(
        natsConnection_Request(&reply, connection, "ask", nullptr, 0, 1), NATS_CONNECTION_CLOSED);
    EXPECT_EQ(natsSubscription_Unsubscribe(subscription), NATS_CONNECTION_CLOSED);
    EXPECT_EQ(nats.deliver({.subject = "tick"}), 0);
    EXPECT_EQ(nats.open_connections(), 0);
}

TEST(fake_nats_options, give_the_connection_its_callbacks_and_its_token) {
    fake_nats nats;
    std::vector<std::string> called;
    natsOptions* options = nullptr;
    natsConnection* connection = nullptr;
    natsOptions_Create(&options);
    natsOptions_SetTokenHandler(
        options, [](void*) { return "a token"; }, nullptr);
    natsOptions_SetDisconnectedCB(
        options,
        [](natsConnection*, void* closure) {
            static_cast<std::vector<std::string>*>(closure)->emplace_back("disconnected");
        },
        &called);
    natsOptions_SetReconnectedCB(
        options,
        [](natsConnection*, void* closure) {
            static_cast<std::vector<std::string>*>(closure)->emplace_back("reconnected");
        },
        &called);

    natsConnection_Connect(&connection, options);
    nats.lose_connection(fake_nats::run_on::own_thread);
    nats.regain_connection(fake_nats::run_on::own_thread);

    ASSERT_TRUE(nats.wait_until_delivered());
    EXPECT_THAT(called, ElementsAre("disconnected", "reconnected"));
    EXPECT_THAT(nats.tokens(), ElementsAre("a token", "a token"));
    natsConnection_Close(connection);
    natsConnection_Destroy(connection);
    natsOptions_Destroy(options);
}

TEST(fake_nats_destructor, reports_what_was_left) {
    auto const leave_something = [] {
        fake_nats nats;
        natsOptions* options = nullptr;
        natsOptions_Create(&options);
    };

    EXPECT_NONFATAL_FAILURE(leave_something(), "Not destroyed: options");
}

TEST(fake_nats_destructor, reports_an_ordered_failure_that_did_not_happen) {
    auto const order_something = [] {
        fake_nats nats;
        nats.fail_next("natsConnection_Publish", NATS_ERR);
    };

    EXPECT_NONFATAL_FAILURE(
        order_something(), "An ordered failure did not happen: natsConnection_Publish");
}

TEST(fake_nats_destructor, reports_an_action_in_a_call_that_did_not_run) {
    auto const order_something = [] {
        fake_nats nats;
        nats.when_called("natsMsg_Destroy", [] {});
    };

    EXPECT_NONFATAL_FAILURE(
        order_something(), "An ordered action did not run: nobody called natsMsg_Destroy");
}

TEST(fake_nats_destructor, reports_an_action_after_a_publication_that_did_not_run) {
    auto const order_something = [] {
        fake_nats nats;
        nats.when_published("tock", [](std::string const& /*bytes*/) {});
    };

    EXPECT_NONFATAL_FAILURE(
        order_something(), "An ordered action did not run: nothing was published on tock");
}

TEST(fake_nats_destructor, reports_a_script_that_did_not_run) {
    auto const order_something = [] {
        fake_nats nats;
        nats.answer_requests(
            "ask", [](std::string const& /*bytes*/) { return fake_nats::request_answer{}; });
    };

    EXPECT_NONFATAL_FAILURE(order_something(), "An ordered answer was not requested: ask");
}

TEST(fake_nats_destructor, reports_nothing_about_an_answer_without_a_request) {
    fake_nats nats;
    nats.answer_requests("ask", fake_nats::request_answer{.bytes = "answer"});

    EXPECT_THAT(nats.drain_unmet_orders(), IsEmpty());
}

TEST(fake_nats_orders, count_as_unmet_if_they_are_replaced_before_they_run) {
    fake_nats nats;
    for (auto order = 0; order < 2; ++order) {
        nats.when_published("tock", [](std::string const& /*bytes*/) {});
        nats.answer_requests(
            "ask", [](std::string const& /*bytes*/) { return fake_nats::request_answer{}; });
    }
    nats.answer_requests("ask", fake_nats::request_answer{});

    EXPECT_THAT(
        nats.drain_unmet_orders(),
        UnorderedElementsAre(
            "An ordered action did not run: nothing was published on tock",
            "An ordered action did not run: nothing was published on tock",
            "An ordered answer was not requested: ask",
            "An ordered answer was not requested: ask"));
    EXPECT_THAT(nats.drain_unmet_orders(), IsEmpty());
}

} // namespace

} // namespace arvenhold::corvel::hub
