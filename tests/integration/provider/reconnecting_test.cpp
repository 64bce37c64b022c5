// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"
#include "support/await.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

#include <future>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char const* lost_line = "Warning: Provider has lost connection to NATS server!\n";
constexpr char const* reconnected_line = "Provider has reconnected to NATS server!\n";

class reconnecting_provider : public provider_on_bare_hub {
protected:
    reconnecting_provider() {
        connect_boiler();
        list = register_boiler(7);
        boiler.publish(noon); // leaves nothing pending
        static_cast<void>(announcements.take());
        static_cast<void>(events.take());
    }

    peer_inbox announcements = peer.listen(subjects::definition);
    peer_inbox events = peer.listen(subjects::change_event);
    std::shared_ptr<variable_list> list;
};

TEST_F(reconnecting_provider, announces_itself_and_publishes_what_is_pending_before_it_says_so) {
    hub.nats_server.restart();
    ASSERT_TRUE(errors.wait_until_flushed(lost_line, patience));
    EXPECT_TRUE(boiler.is_connected());
    list->set_quality(speed_of(*list), variable_quality::uncertain, noon);
    peer.settle();

    auto const announcement = announcement_in(announcements.take().bytes);

    // Neither the event nor the line comes before the verdict.
    EXPECT_EQ(announcement.fingerprint, 7U);
    EXPECT_EQ(events.waiting(), 0U);
    EXPECT_THAT(output.text(), IsEmpty());
    publish_until_written(output, reconnected_line, subjects::verdict, verdict_on(7, 1));
    EXPECT_THAT(
        change_event_in(events.take().bytes).items,
        ElementsAre(sent_variable{speed_of(*list), 0.5, 64, std::nullopt}));
    EXPECT_EQ(output.flushed_text(), reconnected_line);
    EXPECT_EQ(errors.flushed_text(), lost_line);
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(reconnecting_provider, serves_requests_while_it_waits_for_the_verdict) {
    hub.nats_server.restart();
    peer.settle();
    static_cast<void>(announcements.take());

    auto const answer = peer.request(subjects::read_request, request_for_all());

    EXPECT_EQ(answer.status, NATS_OK);
    publish_until_written(output, reconnected_line, subjects::verdict, verdict_on(7, 1));
}

TEST_F(reconnecting_provider, does_not_say_so_when_the_registry_rejects_it_then) {
    hub.nats_server.restart();
    ASSERT_TRUE(errors.wait_until_flushed(lost_line, patience));
    peer.settle();

    publish_until_written(
        errors,
        "Failed to execute provider::post_connect_handler(): Provider boiler: published an invalid "
        "provider definition with fingerprint: 7. Check variable identifier syntax rules and try "
        "again\n\n",
        subjects::verdict,
        verdict_on(7, 0));

    EXPECT_THAT(output.text(), IsEmpty());
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
}

TEST_F(reconnecting_provider, fails_without_a_token_until_it_connects_again) {
    hub.token_endpoint.answer_with({.status = 401, .body = {"no"}});
    hub.nats_server.restart();
    auto const deadline = std::chrono::steady_clock::now() + patience;
    while (boiler.is_connected()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        std::this_thread::yield();
    }

    auto const message = thrown_message<connection_failed>([&] { boiler.publish(noon); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish variables: connection to the NATS server has failed, "
        "attempt to disconnect and re-connect to re-establish the connection.\n");
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    hub.token_endpoint.answer_normally();
    boiler.disconnect();
    connect_boiler();
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(errors.text(), Not(HasSubstr("cannot disconnect")));
}

TEST_F(reconnecting_provider, is_refused_by_the_server_for_good_with_a_wrong_token) {
    hub.token_endpoint.answer_with({.body = {R"({"access_token":"wrong"})"}});
    hub.nats_server.restart();

    // Two refusals in a row end the connection, which only a failing publication shows.
    std::string message;
    ASSERT_TRUE(await(
        [&] {
            message = thrown_message<connection_failed>([this] { boiler.publish(noon); });
            return message != "<nothing was thrown>";
        },
        patience));

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish updated variables (related sujbect: "
        "v1.loc.boiler.vars.evt.changed), NATS returns: 5 = Connection Closed\n");
    EXPECT_FALSE(boiler.is_connected());
    hub.token_endpoint.answer_normally();
    boiler.disconnect();
    connect_boiler();
    EXPECT_TRUE(boiler.is_connected());
}

using slow_reconnecting_provider = reconnecting_provider;

TEST_F(slow_reconnecting_provider, is_not_failed_by_the_token_of_the_session_before) {
    hub.token_endpoint.set_delay(std::chrono::seconds{60}); // longer than the provider waits
    auto const tokens_before = hub.token_endpoint.get_requests().size();
    hub.nats_server.restart();
    ASSERT_TRUE(hub.token_endpoint.wait_until_requested(tokens_before + 1, patience));
    auto disconnected = std::async(std::launch::async, [this] { boiler.disconnect(); });
    ASSERT_TRUE(await([this] { return !boiler.is_connected(); }, patience));
    hub.token_endpoint.set_delay(std::chrono::seconds{0});
    connect_boiler();

    disconnected.get(); // returns when the token request has failed

    EXPECT_TRUE(boiler.is_connected());
}

class unregistered_provider : public provider_on_bare_hub {
protected:
    unregistered_provider() {
        connect_boiler();
    }
};

TEST_F(unregistered_provider, reconnects_without_announcing_anything) {
    auto announcements = peer.listen(subjects::definition);

    hub.nats_server.restart();

    EXPECT_TRUE(output.wait_until_flushed(reconnected_line, patience));
    peer.settle();
    EXPECT_EQ(announcements.waiting(), 0U);
    EXPECT_EQ(errors.flushed_text(), lost_line);
}

} // namespace

} // namespace arvenhold::corvel::hub
