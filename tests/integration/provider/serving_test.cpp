// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider_on_hub.hpp"
#include "support/odd_messages.hpp"
#include "support/provider_messages.hpp"
#include "support/thrown_message.hpp"

#include <atomic>
#include <latch>
#include <thread>
#include <tuple>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class serving_provider : public provider_on_bare_hub {
protected:
    serving_provider() {
        connect_boiler();
        list = register_boiler(7);
    }

    sent_variables read(std::vector<variable_id> const& ids) {
        auto const answer = peer.request(subjects::read_request, wire::read_variables_query(ids));
        EXPECT_EQ(answer.status, NATS_OK);
        return read_reply_in(answer.bytes);
    }

    std::shared_ptr<variable_list> list;
};

TEST_F(serving_provider, answers_a_request_for_nothing_with_everything) {
    auto const begin = std::chrono::system_clock::now();

    auto const reply = read({});

    EXPECT_EQ(reply.fingerprint, 7U);
    EXPECT_GE(reply.when.seconds, as_sent(begin).seconds);
    EXPECT_THAT(reply.ids(), ElementsAre(speed_of(*list), running_of(*list)));
}

TEST_F(serving_provider, answers_a_request_without_ids_or_without_bytes_with_everything) {
    auto const without_ids = peer.request(subjects::read_request, request_for_all());
    auto const without_bytes = peer.request(subjects::read_request, "");

    ASSERT_EQ(without_ids.status, NATS_OK);
    ASSERT_EQ(without_bytes.status, NATS_OK);
    EXPECT_THAT(
        read_reply_in(without_ids.bytes).ids(), ElementsAre(speed_of(*list), running_of(*list)));
    EXPECT_THAT(
        read_reply_in(without_bytes.bytes).ids(), ElementsAre(speed_of(*list), running_of(*list)));
}

TEST_F(serving_provider, answers_in_the_order_of_the_request_without_unknown_ids) {
    auto const speed = speed_of(*list);
    auto const running = running_of(*list);
    list->publish(speed, 1.5, noon);

    auto const reply = read({running, 0xFFFFFFFF, speed, running});

    EXPECT_THAT(reply.ids(), ElementsAre(running, speed, running));
    EXPECT_EQ(reply.items[1].value, variable_value{1.5});
    EXPECT_EQ(reply.items[1].quality, 192);
    EXPECT_EQ(reply.items[1].when, as_sent(noon));
}

TEST_F(serving_provider, answers_a_request_for_unknown_ids_alone_with_no_items) {
    auto const reply = read({0xFFFFFFFF});

    EXPECT_THAT(reply.items, IsEmpty());
}

TEST_F(serving_provider, answers_many_requests_at_once_each_with_its_own) {
    constexpr int requests = 200;
    auto replies = peer.listen("replies.*");

    for (int number = 0; number < requests; ++number) {
        auto const id = number % 2 == 0 ? speed_of(*list) : running_of(*list);
        peer.publish(
            subjects::read_request,
            wire::read_variables_query({{id}}),
            "replies." + std::to_string(number));
    }

    for (int number = 0; number < requests; ++number) {
        auto const reply = replies.take();
        EXPECT_EQ(reply.subject, "replies." + std::to_string(number));
        EXPECT_THAT(
            read_reply_in(reply.bytes).ids(),
            ElementsAre(number % 2 == 0 ? speed_of(*list) : running_of(*list)));
    }
}

TEST_F(serving_provider, is_marked_failed_by_a_request_without_a_reply_subject) {
    peer.publish(subjects::read_request, request_for_all());

    ASSERT_TRUE(
        errors.wait_until_flushed(") to subject : NATS returns 15 = Invalid Subject\n", patience));
    EXPECT_THAT(
        errors.text(),
        testing::StartsWith("Provider boilerFailed to publish reply to read request ("));
    // Marked after the line was written.
    EXPECT_THAT(read({}).items, SizeIs(2));
    EXPECT_FALSE(boiler.is_connected());
    EXPECT_THROW(boiler.publish(noon), connection_failed);
}

TEST_F(serving_provider, ignores_a_command_with_an_outdated_fingerprint) {
    static std::atomic<int> calls{0};
    boiler.set_variables_written_callback(
        [](definition_fingerprint, variable_write_command const&, provider&, void*) { ++calls; },
        nullptr);

    peer.publish(subjects::write_command, command_to_write(6, speed_of(*list), 1.5));

    ASSERT_TRUE(errors.wait_until_flushed(
        "Provider boiler: peer sent a write variables command with outdated fingerprint. Expected "
        "7, got 6 instead from peer. Ignoring.\n",
        patience));
    EXPECT_EQ(calls, 0);
}

TEST_F(serving_provider, hands_a_command_on_and_publishes_what_the_application_made_of_it) {
    static constexpr auto apply = [](definition_fingerprint,
                                     variable_write_command const& command,
                                     provider& receiver,
                                     void*) {
        for (auto const& [id, value] : command.entries) {
            receiver.get_variable_list()->write_variable(id, value, noon);
        }
        receiver.publish(noon);
    };
    boiler.set_variables_written_callback(apply, nullptr);
    auto events = peer.listen(subjects::change_event);
    boiler.publish(noon);
    static_cast<void>(events.take());

    peer.publish(subjects::write_command, command_to_write(7, speed_of(*list), 1.5));

    EXPECT_THAT(
        change_event_in(events.take().bytes).items,
        ElementsAre(sent_variable{speed_of(*list), 1.5, 192, std::nullopt}));
    EXPECT_THAT(errors.text(), IsEmpty());
}

TEST_F(serving_provider, can_disconnect_inside_the_callback) {
    static std::promise<void> disconnected;
    boiler.set_variables_written_callback(
        [](definition_fingerprint, variable_write_command const&, provider& receiver, void*) {
            receiver.disconnect();
            disconnected.set_value();
        },
        nullptr);

    peer.publish(subjects::write_command, command_to_write(7, speed_of(*list), 1.5));

    ASSERT_EQ(disconnected.get_future().wait_for(patience), std::future_status::ready);
    EXPECT_FALSE(boiler.is_connected());
}

TEST_F(serving_provider, can_register_another_definition_inside_the_callback) {
    static std::promise<std::shared_ptr<variable_list>> registered;
    boiler.set_variables_written_callback(
        [](definition_fingerprint, variable_write_command const&, provider& receiver, void*) {
            boiler_definition definition{8};
            registered.set_value(receiver.register_provider_definition(definition));
        },
        nullptr);

    peer.publish(subjects::write_command, command_to_write(7, speed_of(*list), 1.5));

    auto const new_list =
        with_verdict(verdict_on(8, 1), [] { return registered.get_future().get(); });
    EXPECT_EQ(boiler.get_variable_list(), new_list);
    EXPECT_EQ(boiler.get_fingerprint(), 8U);
}

// What the callback of the next test shares with it.
struct slow_application {
    std::latch entered{1};
    std::latch may_leave{1};
    std::atomic<bool> has_left{false};
};

TEST_F(serving_provider, is_destroyed_only_when_a_running_callback_has_left) {
    slow_application application;
    auto doomed = std::make_unique<provider>("doomed");
    connect(*doomed, hub.nats_server, hub.token_endpoint);
    boiler_definition definition{7};
    auto registering = std::async(
        std::launch::async, [&] { return doomed->register_provider_definition(definition); });
    while (registering.wait_for(std::chrono::milliseconds{5}) != std::future_status::ready) {
        peer.publish("v1.loc.registry.providers.doomed.def.evt.changed", verdict_on(7, 1));
    }
    doomed->set_variables_written_callback(
        [](definition_fingerprint, variable_write_command const&, provider&, void* user_data) {
            auto& shared = *static_cast<slow_application*>(user_data);
            shared.entered.count_down();
            shared.may_leave.wait();
            shared.has_left = true;
        },
        &application);
    peer.publish("v1.loc.doomed.vars.cmd.write", command_to_write(7, 0, 1.5));
    application.entered.wait();
    auto destroying = std::async(std::launch::async, [&] {
        doomed.reset();
        return application.has_left.load();
    });
    // The server has noticed that the provider is gone, so the destructor has come to its wait.
    while (peer.request("v1.loc.doomed.vars.qry.read", "", std::chrono::milliseconds{100}).status
           != NATS_NO_RESPONDERS) {
    }

    application.may_leave.count_down();

    EXPECT_TRUE(destroying.get());
}

TEST_F(serving_provider, can_be_destroyed_under_a_flood_of_messages) {
    constexpr int rounds = 20;
    std::atomic<bool> flooding{true};
    auto const request = request_for_all();
    auto const command = command_to_write(7, 0, 1.5);
    std::jthread const flood{[&] {
        while (flooding) {
            peer.publish("v1.loc.doomed.vars.qry.read", request, "replies");
            peer.publish("v1.loc.doomed.vars.cmd.write", command);
            peer.publish("v1.loc.registry.providers.doomed.def.evt.changed", verdict_on(7, 1));
            peer.publish(subjects::registry_state, ready_registry());
        }
    }};

    for (int round = 0; round < rounds; ++round) {
        provider doomed{"doomed"};
        boiler_definition definition{7};
        static_cast<void>(doomed.register_provider_definition(definition));
        doomed.set_variables_written_callback(
            [](definition_fingerprint, variable_write_command const&, provider& receiver, void*) {
                receiver.publish(noon);
            },
            nullptr);
        connect(doomed, hub.nats_server, hub.token_endpoint);
        EXPECT_EQ(peer.request("v1.loc.doomed.vars.qry.read", request).status, NATS_OK);
    }

    flooding = false;
}

class provider_without_a_list : public provider_on_bare_hub {
protected:
    provider_without_a_list() {
        connect_boiler();
    }
};

TEST_F(provider_without_a_list, lets_a_request_run_into_its_time_out) {
    publish_until_written(
        errors,
        "Provider boiler: failed to assemble reply for read request: variable list unavailable\n",
        subjects::read_request,
        request_for_all());

    auto const answer =
        peer.request(subjects::read_request, request_for_all(), std::chrono::milliseconds{300});

    EXPECT_EQ(answer.status, NATS_TIMEOUT);
}

TEST_F(provider_without_a_list, drops_commands) {
    publish_until_written(
        errors,
        "Provider boiler: failed process write command: variable list unavailable\n",
        subjects::write_command,
        "");
}

} // namespace

} // namespace arvenhold::corvel::hub
