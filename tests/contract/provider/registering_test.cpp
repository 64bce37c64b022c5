// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "boiler_test.hpp"
#include "support/lists.hpp"
#include "support/odd_messages.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char const* timeout_text =
    "Provider boiler: provider definition validity handler execution failed: Timeout waiting for "
    "reply\n";

// The text for a rejected definition; the fingerprint is the one that the registry reported.
std::string rejection_of(std::string const& fingerprint) {
    return "Provider boiler: published an invalid provider definition with fingerprint: "
         + fingerprint + ". Check variable identifier syntax rules and try again\n";
}

class registering : public boiler_test {
protected:
    // What registering throws when the registry answers with `verdict`.
    std::string message_after(std::string const& verdict, std::size_t misalignment = 0) {
        boiler_definition definition{7};
        auto const work = [&] {
            return boiler.register_provider_definition(definition);
        };
        return thrown_message<invalid_provider_definition>(
            [&] { with_verdict(verdict, work, misalignment); });
    }
};

TEST_F(registering, has_not_happened_at_construction) {
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_fingerprint(); }),
        "Provider boiler: cannot get fingerprint, no provider definition registered\n");
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_variable_list(); }),
        "Provider boiler: cannot get variable list, no provider definition registered\n");
}

TEST_F(registering, refuses_a_definition_that_is_not_finalized_and_keeps_the_earlier_one) {
    auto const list = start();
    provider_definition open_definition{8};

    auto const message = thrown_message<operational_state_invalid>(
        [&] { boiler.register_provider_definition(open_definition); });

    EXPECT_EQ(message, "Provider boiler: cannot register non-finalized provider definition\n");
    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_NO_THROW(list->publish(speed_of(*list), 1.5, noon));
}

TEST_F(registering, sends_nothing_while_disconnected) {
    auto const list = register_boiler(7);

    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(registering, sends_one_announcement_and_no_flush_while_connected) {
    connect();
    nats.forget_calls();

    auto const list = register_boiler(7);

    EXPECT_EQ(boiler.get_variable_list(), list);
    auto const bytes = last_published(subjects::definition);
    EXPECT_THAT(
        nats.calls(),
        ElementsAre(
            "natsConnection_Publish v1.loc.boiler.def.evt.changed "
            + std::to_string(bytes.size())));
}

TEST_F(registering, announces_every_type_and_permission_in_ascending_id) {
    using namespace std::chrono_literals;
    connect();
    finalized_definition definition{
        0xFEDCBA9876543210,
        {{"a/bool", true, variable_permissions::read_write},
         {"b/double", 1.5, variable_permissions::read_only},
         {"c/int64", std::int64_t{-1}, variable_permissions::read_write},
         {"d/string", std::string{"x"}, variable_permissions::read_only},
         {"e/time", noon, variable_permissions::read_write},
         {"f/duration", std::chrono::nanoseconds{1s}, variable_permissions{7}}}};

    auto const list = with_verdict(
        verdict_on(1, 1), [&] { return boiler.register_provider_definition(definition); });

    auto const announced = announcement_in(last_published(subjects::definition));
    auto const lowest = list->get_variables().begin()->first;
    EXPECT_EQ(announced.fingerprint, 0xFEDCBA9876543210);
    EXPECT_FALSE(announced.has_valid);
    EXPECT_THAT(
        announced.variables,
        ElementsAre(
            announced_variable{"a/bool", lowest, 1, 2},
            announced_variable{"b/double", lowest + 1, 3, 1},
            announced_variable{"c/int64", lowest + 2, 4, 2},
            announced_variable{"d/string", lowest + 3, 5, 1},
            announced_variable{"e/time", lowest + 4, 6, 2},
            announced_variable{"f/duration", lowest + 5, 2, 0}));
}

TEST_F(registering, announces_a_definition_without_variables) {
    connect();
    finalized_definition definition{7, {}};

    static_cast<void>(with_verdict(
        verdict_on(7, 1), [&] { return boiler.register_provider_definition(definition); }));

    EXPECT_THAT(announcement_in(last_published(subjects::definition)).variables, IsEmpty());
}

TEST_F(registering, makes_the_first_list_stale_the_second_time) {
    auto const first = start();

    auto const second = register_boiler(8);

    EXPECT_NE(first, second);
    EXPECT_EQ(boiler.get_variable_list(), second);
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_EQ(
        thrown_message<variable_list_outdated>(
            [&] { first->publish(speed_of(*first), 1.5, noon); }),
        "Provider boiler: variable list is outdated:\n"
        "Associated fingerprint: 7\n"
        "Provider's current fingerprint: 8\n"
        "Replace this variable list with the new one that is now current for the associated "
        "provider\n");
    EXPECT_EQ(
        first->resolve_variable_by_id(speed_of(*first))->get_quality(), variable_quality::bad);
    EXPECT_GT(speed_of(*second), running_of(*first));
}

TEST_F(registering, fails_when_the_announcement_cannot_be_sent) {
    connect();
    nats.fail_next("natsConnection_Publish", NATS_CONNECTION_CLOSED);
    boiler_definition definition{7};

    auto const message =
        thrown_message<connection_failed>([&] { boiler.register_provider_definition(definition); });

    EXPECT_EQ(
        message,
        "Provider boiler: failed to publish the provider definition (related sujbect: "
        "v1.loc.boiler.def.evt.changed), NATS returns: 5 = Connection Closed\n");
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_NO_THROW(boiler.get_variable_list());
}

TEST_F(registering, sends_nothing_while_the_provider_is_marked_failed) {
    auto const first = start();
    nats.fail_next("natsConnection_Publish", NATS_IO_ERROR);
    EXPECT_THROW(boiler.publish(noon), connection_failed);
    nats.forget_calls();
    boiler_definition definition{8};

    auto const second = boiler.register_provider_definition(definition);

    EXPECT_THAT(nats.calls(), IsEmpty());
    EXPECT_NE(first, second);
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
}

TEST_F(registering, leaves_other_operations_free_while_it_waits) {
    connect();
    boiler_definition definition{7};
    auto registered = std::async(
        std::launch::async, [&] { return boiler.register_provider_definition(definition); });
    ASSERT_TRUE(nats.wait_until_published(subjects::definition, 1));

    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_TRUE(boiler.is_connected());
    boiler.publish(noon);

    EXPECT_THAT(nats.published(subjects::change_event), SizeIs(1));
    with_verdict(verdict_on(7, 1), [&] { return registered.get(); });
}

// What the registry answers.

using judging = registering;

TEST_F(judging, accepts_the_mark_1_whatever_the_fingerprint) {
    connect();

    EXPECT_EQ(message_after(verdict_on(4711, 1)), "<nothing was thrown>");

    EXPECT_EQ(boiler.get_fingerprint(), 7U);
}

TEST_F(judging, rejects_any_other_mark_and_names_the_fingerprint_that_the_registry_saw) {
    connect();

    EXPECT_EQ(message_after(verdict_on(4711, 2)), rejection_of("4711"));
}

TEST_F(judging, rejects_without_a_mark) {
    connect();

    EXPECT_EQ(
        message_after(wire::provider_definition_changed_event(
            wire::provider_definition_table{.fingerprint = 4711})),
        rejection_of("4711"));
}

TEST_F(judging, rejects_with_a_definition_too_short_for_a_fingerprint) {
    connect();

    EXPECT_EQ(
        message_after(wire::provider_definition_changed_event(wire::provider_definition_table{})),
        rejection_of("0"));
}

TEST_F(judging, reads_a_verdict_at_any_address) {
    connect();
    for (std::size_t misalignment = 0; misalignment < 8; ++misalignment) {
        EXPECT_EQ(
            message_after(verdict_on(18364758544493064720U, 0), misalignment),
            rejection_of("18364758544493064720"));
    }
}

TEST_F(judging, leaves_a_rejected_list_current_but_not_registered) {
    connect();
    static_cast<void>(message_after(verdict_on(7, 0)));
    auto const list = boiler.get_variable_list();

    auto const message = thrown_message<operational_state_invalid>(
        [&] { list->publish(speed_of(*list), 1.5, noon); });

    EXPECT_EQ(message, "Provider boiler: cannot publish, no provider definition registered\n");
    EXPECT_EQ(list->resolve_variable_by_id(speed_of(*list))->get_value(), variable_value{1.5});
    EXPECT_EQ(
        thrown_message<operational_state_invalid>([&] { boiler.get_fingerprint(); }),
        "Provider boiler: cannot get fingerprint, no provider definition registered\n");
    EXPECT_TRUE(boiler.is_connected());
}

TEST_F(judging, is_forgotten_with_the_next_registration) {
    connect();
    static_cast<void>(message_after(verdict_on(7, 0)));
    auto const rejected = boiler.get_variable_list();

    auto const list = register_boiler(8);

    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_THROW(rejected->publish(speed_of(*rejected), 1.5, noon), variable_list_outdated);
    EXPECT_NO_THROW(list->publish(speed_of(*list), 1.5, noon));
}

TEST_F(judging, that_nobody_waits_for_changes_nothing) {
    auto const list = start();

    deliver_verdict(verdict_on(7, 0));
    deliver_verdict(verdict_on(7, 0));

    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_NO_THROW(list->publish(speed_of(*list), 1.5, noon));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(judging, in_advance_does_not_decide_about_a_later_registration) {
    connect();
    deliver_verdict(verdict_on(7, 0));

    static_cast<void>(register_boiler(7));

    EXPECT_EQ(boiler.get_fingerprint(), 7U);
}

TEST_F(judging, with_no_data_is_reported_and_wakes_with_the_verdict_before) {
    static_cast<void>(start());
    boiler_definition definition{8};

    static_cast<void>(
        with_verdict("", [&] { return boiler.register_provider_definition(definition); }));

    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_THAT(
        errors.flushed_text(),
        testing::StartsWith("Provider boiler: encountered invalid serialized data for operation: "
                            "deserialize_provider_definition_validity: definition changed event "
                            "data is nullptr\n\n"));
}

TEST_F(judging, without_a_definition_is_reported_and_wakes_with_the_verdict_before) {
    connect();
    EXPECT_EQ(message_after(verdict_on(4711, 0)), rejection_of("4711"));

    auto const message = message_after(wire::provider_definition_changed_event(std::nullopt));

    EXPECT_EQ(message, rejection_of("4711"));
    EXPECT_THAT(
        errors.flushed_text(),
        testing::StartsWith("Provider boiler: encountered invalid serialized data for operation: "
                            "deserialize_provider_definition_validity: definition data is "
                            "nullptr\n\n"));
}

TEST_F(judging, with_no_message_is_reported_and_wakes_with_the_verdict_before) {
    static_cast<void>(start());
    boiler_definition definition{8};
    auto registered = std::async(
        std::launch::async, [&] { return boiler.register_provider_definition(definition); });

    while (registered.wait_for(std::chrono::milliseconds{1}) != std::future_status::ready) {
        nats.deliver_null(subjects::verdict);
    }

    EXPECT_NO_THROW(registered.get());
    EXPECT_THAT(
        errors.flushed_text(),
        testing::StartsWith("Failed to process provider definition changed event: provider "
                            "definition message unavailable\n"));
}

TEST_F(judging, of_an_ended_session_judges_no_registration_of_the_next) {
    static_cast<void>(start());
    boiler_definition definition{8};
    std::future<std::shared_ptr<variable_list>> registered;
    nats.when_called("natsMsg_GetDataLength", [&] { // the old session's handler is running
        boiler.disconnect();
        // Sent at once, a definition counts every verdict from then on.
        boiler.connect(
            "nats://hub",
            "http://hub/token",
            "id",
            "secret",
            connect_options{}.set_send_immediately(true));
        registered = std::async(
            std::launch::async, [&] { return boiler.register_provider_definition(definition); });
        EXPECT_TRUE(nats.wait_until_published(subjects::definition, 2));
    });

    deliver_verdict(verdict_on(7, 0));

    EXPECT_NO_THROW(with_verdict(verdict_on(8, 1), [&] { return registered.get(); }));
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
}

TEST_F(judging, is_a_rejection_with_fingerprint_0_when_no_verdict_was_ever_read) {
    connect();

    EXPECT_EQ(message_after(""), rejection_of("0"));
}

class waiting_for_the_verdict : public boiler_test {
protected:
    // The registry's message makes the provider announce itself again, on a thread of the NATS
    // client.
    void let_the_registry_become_ready() {
        nats.deliver(
            {.subject = subjects::registry_state, .bytes = ready_registry()},
            fake_nats::run_on::own_thread);
    }
};

TEST_F(waiting_for_the_verdict, ends_for_two_publications_with_one_verdict) {
    // Nothing shows when both have begun to wait, so that the verdict may come too early, but not
    // time and again.
    constexpr int attempts = 20;
    static_cast<void>(start());
    auto two_have_ended_with_one = false;
    for (int attempt = 0; attempt < attempts && !two_have_ended_with_one; ++attempt) {
        auto const published = nats.published(subjects::definition).size();
        let_the_registry_become_ready();
        boiler_definition definition{7};
        auto registered = std::async(
            std::launch::async, [&] { return boiler.register_provider_definition(definition); });
        ASSERT_TRUE(nats.wait_until_published(subjects::definition, published + 2));
        ASSERT_EQ(registered.wait_for(std::chrono::milliseconds{20}), std::future_status::timeout);

        deliver_verdict(verdict_on(7, 1));

        two_have_ended_with_one =
            registered.wait_for(std::chrono::seconds{2}) == std::future_status::ready
            && nats.wait_until_delivered();
        with_verdict(verdict_on(7, 1), [&] {
            registered.get();
            EXPECT_TRUE(nats.wait_until_delivered());
        });
    }
    EXPECT_TRUE(two_have_ended_with_one);
}

TEST_F(waiting_for_the_verdict, ends_at_once_with_the_time_out_text_when_the_provider_disconnects) {
    connect();
    boiler_definition definition{7};
    auto registered = std::async(std::launch::async, [&] {
        return thrown_message<operational_state_invalid>(
            [&] { boiler.register_provider_definition(definition); });
    });
    ASSERT_TRUE(nats.wait_until_published(subjects::definition, 1));
    auto const begin = steady_clock::now();

    boiler.disconnect();

    EXPECT_EQ(registered.get(), timeout_text);
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds{10});
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THROW(boiler.get_variable_list(), operational_state_invalid);
}

TEST_F(waiting_for_the_verdict, ends_at_once_when_the_provider_is_destroyed) {
    auto doomed = std::make_unique<provider>("doomed");
    doomed->connect("nats://hub:4222", "http://hub/token", "id", "secret");
    boiler_definition definition{7};
    auto registered = std::async(
        std::launch::async, [&] { return doomed->register_provider_definition(definition); });
    while (registered.wait_for(std::chrono::milliseconds{1}) != std::future_status::ready) {
        nats.deliver(
            {.subject = "v1.loc.registry.providers.doomed.def.evt.changed",
             .bytes = verdict_on(7, 1)});
    }
    let_the_registry_become_ready();
    ASSERT_TRUE(nats.wait_until_published("v1.loc.doomed.def.evt.changed", 2));
    auto const begin = steady_clock::now();

    doomed.reset();

    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds{10});
    EXPECT_EQ(
        errors.flushed_text(),
        "Failed to publish provider definition after registry was ready: Provider doomed: provider "
        "definition validity handler execution failed: Timeout waiting for reply\n\n");
}

TEST_F(judging, waits_for_the_verdict_as_long_as_the_options_say) {
    boiler.disconnect();
    nats.skip_token_handler();
    boiler.connect(
        "nats://hub",
        "http://hub/token",
        "id",
        "secret",
        connect_options{}.set_verdict_time_limit(std::chrono::milliseconds{20}));
    boiler_definition definition{7};
    auto const begin = steady_clock::now();

    EXPECT_EQ(
        thrown_message<operational_state_invalid>(
            [&] { static_cast<void>(boiler.register_provider_definition(definition)); }),
        "Provider boiler: provider definition validity handler execution failed: Timeout waiting "
        "for reply\n");

    EXPECT_GE(steady_clock::now() - begin, std::chrono::milliseconds{20});
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds{10});
}

class verdict_time_limit : public boiler_test {};

TEST_F(verdict_time_limit, is_not_reached_by_a_message_that_leaves_at_once) {
    nats.skip_token_handler();
    boiler.connect(
        "nats://hub",
        "http://hub/token",
        "id",
        "secret",
        connect_options{}.set_send_immediately(true));
    nats.when_published(subjects::definition, [&](std::string const& /*bytes*/) {
        deliver_verdict(verdict_on(7, 1));
    });
    boiler_definition definition{7};
    auto const begin = steady_clock::now();

    static_cast<void>(boiler.register_provider_definition(definition));

    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds{15});
}

TEST_F(verdict_time_limit, is_reached_when_the_verdict_comes_before_the_wait_begins) {
    connect();
    nats.when_published(subjects::definition, [&](std::string const& /*bytes*/) {
        deliver_verdict(verdict_on(4711, 0));
    });
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
}

TEST_F(verdict_time_limit, ends_a_connect_that_leaves_the_provider_connected_and_registered) {
    auto const list = register_boiler(7);
    auto const begin = steady_clock::now();

    auto const message = thrown_message<operational_state_invalid>([&] { connect(); });

    auto const waited = steady_clock::now() - begin;
    EXPECT_EQ(message, timeout_text);
    EXPECT_GE(waited, std::chrono::seconds{15});
    EXPECT_LT(waited, std::chrono::milliseconds{15'500});
    EXPECT_TRUE(boiler.is_connected());
    EXPECT_EQ(boiler.get_fingerprint(), 7U);
    EXPECT_EQ(boiler.get_variable_list(), list);
    EXPECT_THAT(nats.published(subjects::change_event), IsEmpty());
    EXPECT_NO_THROW(list->publish(speed_of(*list), 1.5, noon));
    auto const next = register_boiler(8);
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
    EXPECT_NO_THROW(next->publish(speed_of(*next), 1.5, noon));
}

} // namespace

} // namespace arvenhold::corvel::hub
