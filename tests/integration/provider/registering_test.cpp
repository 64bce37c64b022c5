// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"
#include "support/odd_messages.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

#include <thread>

namespace arvenhold::corvel::hub {

namespace {

using dev::event_kind;
using std::chrono::steady_clock;
using testing::IsEmpty;
using testing::SizeIs;

class registering_provider : public provider_on_dev_hub {
protected:
    registering_provider() {
        connect_boiler();
    }
};

TEST_F(registering_provider, is_listed_by_the_registry) {
    boiler_definition definition{7};

    auto const list = boiler.register_provider_definition(definition);

    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_TRUE(hub.get_registry().wait_until_provider_listed("boiler", patience));
    EXPECT_EQ(hub.get_log().get_count(event_kind::definition_received, "boiler"), 1U);
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(registering_provider, is_told_when_a_path_breaks_the_rules_of_the_registry) {
    finalized_definition definition{
        0xFEDCBA9876543210, {{"pump speed", 0.5, variable_permissions::read_write}}};

    auto const message = thrown_message<invalid_provider_definition>(
        [&] { boiler.register_provider_definition(definition); });

    EXPECT_EQ(
        message,
        "Provider boiler: published an invalid provider definition with fingerprint: "
        "18364758544493064720. Check variable identifier syntax rules and try again\n");
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.publish(noon); }),
        "Provider boiler: cannot publish, no provider definition registered\n");
}

TEST_F(registering_provider, goes_on_serving_after_a_rejection) {
    hub.get_registry().reject_all();
    boiler_definition definition{7};
    EXPECT_THROW(boiler.register_provider_definition(definition), invalid_provider_definition);

    auto const answer = peer.request(subjects::read_request, request_for_all());

    ASSERT_EQ(answer.status, NATS_OK);
    auto const reply = read_reply_in(answer.bytes);
    EXPECT_EQ(reply.fingerprint, 7U);
    EXPECT_THAT(reply.items, SizeIs(2));
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(registering_provider, recovers_from_a_rejection_with_another_definition) {
    hub.get_registry().reject_all();
    boiler_definition rejected{7};
    EXPECT_THROW(boiler.register_provider_definition(rejected), invalid_provider_definition);
    auto const rejected_list = boiler.get_variable_list();
    hub.get_registry().judge_normally();
    boiler_definition accepted{8};

    auto const list = boiler.register_provider_definition(accepted);

    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_NE(list, rejected_list);
    EXPECT_THROW(
        rejected_list->publish(speed_of(*rejected_list), 1.5, noon), variable_list_outdated);
    list->publish(speed_of(*list), 1.5, noon);
}

TEST_F(registering_provider, is_not_disturbed_by_verdicts_that_come_three_times) {
    hub.get_registry().set_verdict_copies(3);
    boiler_definition first{7};
    boiler_definition second{8};

    static_cast<void>(boiler.register_provider_definition(first));
    static_cast<void>(boiler.register_provider_definition(second));

    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(registering_provider, announces_itself_again_when_the_registry_has_been_restarted) {
    boiler_definition definition{7};
    static_cast<void>(boiler.register_provider_definition(definition));
    ASSERT_TRUE(hub.get_registry().wait_until_provider_listed("boiler", patience));

    hub.get_registry().restart();

    EXPECT_TRUE(
        hub.get_log().wait_until_recorded(event_kind::definition_accepted, "boiler", 2, patience));
    EXPECT_EQ(hub.get_registry().get_definition("boiler")->fingerprint, 7U);
}

class slow_verdict : public provider_on_dev_hub {
protected:
    static constexpr char const* timeout_text =
        "Provider boiler: provider definition validity handler execution failed: Timeout waiting "
        "for reply\n";
};

TEST_F(slow_verdict, is_awaited_for_15_seconds_and_the_definition_stays_registered) {
    connect_boiler();
    hub.get_registry().go_silent();
    boiler_definition definition{7};
    auto const begin = steady_clock::now();

    auto const message = thrown_message<operational_state_invalid>(
        [&] { boiler.register_provider_definition(definition); });

    auto const waited = steady_clock::now() - begin;
    EXPECT_EQ(message, timeout_text);
    EXPECT_GE(waited, std::chrono::seconds{15});
    EXPECT_LT(waited, std::chrono::milliseconds{15'500});
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_THAT(errors.text(), IsEmpty());

    // A verdict that comes too late changes nothing. The line for the one behind it shows that it
    // has been taken in; what that one wakes late finds the verdict before, which accepts.
    peer.publish(subjects::verdict, verdict_on(7, 0));
    peer.publish(subjects::verdict, verdict_on(7, 1));
    peer.publish(subjects::verdict, "");
    ASSERT_TRUE(errors.wait_until_flushed("definition changed event data is nullptr\n", patience));
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    hub.get_registry().speak_again();
    boiler_definition next{8};
    auto const list = boiler.register_provider_definition(next);
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    list->publish(speed_of(*list), 1.5, noon);
}

class judged_provider : public provider_on_bare_hub {
protected:
    judged_provider() {
        connect_boiler();
    }
};

TEST_F(judged_provider, is_invalid_unless_the_mark_is_1) {
    boiler_definition definition{7};

    auto const message = thrown_message<invalid_provider_definition>([&] {
        with_verdict(
            verdict_on(7, 2), [&] { return boiler.register_provider_definition(definition); });
    });

    EXPECT_EQ(
        message,
        "Provider boiler: published an invalid provider definition with fingerprint: 7. Check "
        "variable identifier syntax rules and try again\n");
}

TEST_F(judged_provider, is_told_the_fingerprint_that_the_registry_saw) {
    boiler_definition definition{7};

    auto const message = thrown_message<invalid_provider_definition>([&] {
        with_verdict(
            verdict_on(4711, 0), [&] { return boiler.register_provider_definition(definition); });
    });

    EXPECT_EQ(
        message,
        "Provider boiler: published an invalid provider definition with fingerprint: 4711. Check "
        "variable identifier syntax rules and try again\n");
}

TEST_F(judged_provider, pays_no_attention_to_a_verdict_that_nobody_waits_for) {
    publish_until_written(
        errors,
        "Provider boiler: encountered invalid serialized data for operation: "
        "deserialize_provider_definition_validity: definition changed event data is nullptr\n\n",
        subjects::verdict,
        "");
    peer.publish(subjects::verdict, verdict_on(7, 0));
    // The line that is waited for comes before the wake-up; what is woken late finds this verdict.
    peer.publish(subjects::verdict, verdict_on(7, 1));
    peer.publish(subjects::verdict, wire::provider_definition_changed_event(std::nullopt));
    ASSERT_TRUE(errors.wait_until_flushed(
        "Provider boiler: encountered invalid serialized data for operation: "
        "deserialize_provider_definition_validity: definition data is nullptr\n\n",
        patience));

    auto const list = register_boiler(7);

    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    list->publish(speed_of(*list), 1.5, noon);
}

TEST_F(judged_provider, is_woken_by_disconnecting_and_reports_the_time_out_at_once) {
    auto announcements = peer.listen(subjects::definition);
    boiler_definition definition{7};
    auto registering = std::async(std::launch::async, [&] {
        return thrown_message<operational_state_invalid>(
            [&] { boiler.register_provider_definition(definition); });
    });
    static_cast<void>(announcements.take());
    auto const begin = steady_clock::now();

    boiler.disconnect();

    EXPECT_EQ(
        registering.get(),
        "Provider boiler: provider definition validity handler execution failed: Timeout waiting "
        "for reply\n");
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds{10});
}

TEST_F(judged_provider, can_be_destroyed_while_a_handler_waits_for_the_verdict) {
    boiler.disconnect(); // nothing is registered with it
    auto doomed = std::make_unique<provider>("doomed");
    connect(*doomed, hub.nats_server, hub.token_endpoint);
    auto announcements = peer.listen("v1.loc.doomed.def.evt.changed");
    auto const verdict = verdict_on(7, 1);
    boiler_definition definition{7};
    auto registering = std::async(
        std::launch::async, [&] { return doomed->register_provider_definition(definition); });
    while (registering.wait_for(std::chrono::milliseconds{5}) != std::future_status::ready) {
        peer.publish("v1.loc.registry.providers.doomed.def.evt.changed", verdict);
    }
    static_cast<void>(announcements.take());
    peer.publish(subjects::registry_state, ready_registry());
    static_cast<void>(announcements.take());
    auto const begin = steady_clock::now();

    doomed.reset();

    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds{10});
    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to publish provider definition after registry was ready: Provider doomed: provider "
        "definition validity handler execution failed: Timeout waiting for reply\n\n");
}

} // namespace

} // namespace arvenhold::corvel::hub
