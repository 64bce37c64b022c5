// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/odd_messages.hpp"

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class delivered_registry_state : public boiler_test {
protected:
    void announce(std::string const& bytes) {
        nats.deliver({.subject = subjects::registry_state, .bytes = bytes});
    }
};

TEST_F(delivered_registry_state, ready_makes_the_provider_send_the_same_announcement_again) {
    auto const list = start();
    list->publish(speed_of(*list), 1.5, noon);

    with_verdict(verdict_on(7, 1), [&] { announce(ready_registry()); });

    auto const announcements = nats.published(subjects::definition);
    ASSERT_THAT(announcements, SizeIs(2));
    EXPECT_EQ(announcements[0].bytes, announcements[1].bytes);
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(
    delivered_registry_state, ready_that_comes_before_a_reconnect_does_not_fail_the_new_session) {
    static_cast<void>(start());
    nats.when_called("natsMsg_Destroy", [this] {
        boiler.disconnect();
        connect();
    });

    announce(ready_registry());

    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(
        errors.text(),
        StartsWith("Failed to publish provider definition after registry was ready: Provider "
                   "boiler: failed to publish the provider definition"));
}

TEST_F(delivered_registry_state, ready_publishes_no_variables) {
    auto const list = start();
    list->set_quality(speed_of(*list), variable_quality::bad, noon);

    with_verdict(verdict_on(7, 1), [&] { announce(ready_registry()); });

    EXPECT_THAT(nats.published(subjects::change_event), SizeIs(1));
}

TEST_F(delivered_registry_state, ready_leaves_the_definition_accepted_if_the_verdict_says_so) {
    static_cast<void>(start());
    ASSERT_TRUE(boiler.is_definition_accepted());

    with_verdict(verdict_on(7, 1), [&] { announce(ready_registry()); });

    EXPECT_TRUE(boiler.is_definition_accepted());
}

TEST_F(delivered_registry_state, ready_shows_a_rejected_definition) {
    static_cast<void>(start());

    with_verdict(verdict_on(7, 0), [&] { announce(ready_registry()); });

    EXPECT_FALSE(boiler.is_definition_accepted());
}

TEST_F(delivered_registry_state, ready_shows_a_definition_without_a_verdict) {
    boiler.connect(
        "nats://hub",
        "http://hub/token",
        "id",
        "secret",
        connect_options{}.set_verdict_time_limit(std::chrono::milliseconds{500}));
    static_cast<void>(register_boiler(7));
    ASSERT_TRUE(boiler.is_definition_accepted());

    announce(ready_registry());

    EXPECT_FALSE(boiler.is_definition_accepted());
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(delivered_registry_state, leaves_a_definition_without_a_connection_unaccepted) {
    static_cast<void>(start());
    boiler.disconnect();
    EXPECT_FALSE(boiler.is_definition_accepted());

    boiler_definition definition{8};
    static_cast<void>(boiler.register_provider_definition(definition));

    EXPECT_FALSE(boiler.is_definition_accepted());
}

TEST_F(delivered_registry_state, not_ready_or_unknown_or_absent_sends_nothing) {
    static_cast<void>(start());

    announce(wire::registry_state_changed_event(0));
    announce(wire::registry_state_changed_event(2));
    announce(wire::registry_state_changed_event(std::nullopt));

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(delivered_registry_state, without_data_is_reported) {
    static_cast<void>(start());

    announce("");

    EXPECT_EQ(
        errors.flushed_text(),
        "Provider boiler: encountered invalid serialized data for operation: "
        "deserialize_registry_state: state changed event data is nullptr\n\n");
    EXPECT_THAT(nats.calls(), IsEmpty());
}

TEST_F(delivered_registry_state, without_a_message_is_reported) {
    static_cast<void>(start());

    nats.deliver_null(subjects::registry_state);

    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to process registry state event: registry state message unavailable\n");
}

TEST_F(delivered_registry_state, ready_reports_an_announcement_that_cannot_be_sent) {
    static_cast<void>(start());
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);

    announce(ready_registry());

    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to publish provider definition after registry was ready: Provider boiler: failed "
        "to publish the provider definition (related sujbect: v1.loc.boiler.def.evt.changed), NATS "
        "returns: 3 = IO Error\n\n");
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(delivered_registry_state, ready_reports_a_rejection) {
    static_cast<void>(start());

    with_verdict(verdict_on(7, 0), [&] { announce(ready_registry()); });

    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to publish provider definition after registry was ready: Provider boiler: "
        "published an invalid provider definition with fingerprint: 7. Check variable identifier "
        "syntax rules and try again\n\n");
    EXPECT_THROW(boiler.get_fingerprint(), operational_state_invalid);
}

TEST(unregistered_registry_state, is_not_decoded) {
    captured_stream errors{std::cerr};
    fake_nats nats;
    nats.skip_token_handler();
    provider boiler{"boiler"};
    boiler.connect("nats://hub:4222", "http://hub/token", "id", "secret");

    nats.deliver({.subject = subjects::registry_state, .bytes = ready_registry()});
    nats.deliver({.subject = subjects::registry_state, .bytes = ""});

    EXPECT_THAT(nats.published(), IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

} // namespace

} // namespace arvenhold::corvel::hub
