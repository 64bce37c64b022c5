// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Providers that behave as no provider of ours does. A peer plays them and the registry.

#include "support/await.hpp"
#include "support/bare_hub.hpp"
#include "support/captured_stream.hpp"
#include "support/consumer_messages.hpp"
#include "support/recorded.hpp"
#include <hub/hub.hpp>
#include <hub/session/consumer_session.hpp>

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <iostream>
#include <latch>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using shown = std::pair<variable_value, freshness>;

constexpr std::uint64_t fingerprint = 77;

class played_providers : public testing::Test {
protected:
    played_providers() {
        hub.peer.answer(
            "v1.loc.registry.providers.qry.read",
            wire::provider_list_reply({"healthy", "odd", "odder"}));
        for (std::string const identifier : {"healthy", "odd", "odder"}) {
            hub.peer.answer(
                "v1.loc.registry.providers." + identifier + ".def.qry.read",
                wire::definition_reply(
                    fingerprint,
                    {wire::defined(1, "temperature", wire::double_code),
                     wire::defined(2, "note", wire::string_code)}));
        }
    }

    // What a provider sends while it holds a temperature.
    static std::string reply_with(double temperature) {
        return wire::read_reply(
            fingerprint, {wire::item(1, temperature), wire::item(2, std::string{"none"})});
    }

    static std::string unreadable_reply() {
        return wire::read_variables_query_response(std::nullopt);
    }

    // Answers read requests with what `reply` returns.
    void answer_reads(std::string const& identifier, std::function<std::string()> reply) {
        hub.peer.on_message(
            "v1.loc." + identifier + ".vars.qry.read",
            [this, reply = std::move(reply)](peer_message const& request) {
                hub.peer.publish(request.reply_subject, reply());
            });
    }

    [[nodiscard]] hub_access access() const {
        return {
            hub.nats_server.get_url(),
            hub.token_endpoint.get_url(),
            "developer",
            "developer-secret",
            {}};
    }

    static session_settings settings() {
        return session_settings{}
            .set_retry(std::chrono::milliseconds{20}, std::chrono::milliseconds{100})
            .set_delivery_threads(1);
    }

    static bool becomes(followed_variable<double> const& followed, shown const& wanted) {
        return await([&] {
            auto const now = followed.now();
            return shown{now.value, now.freshness} == wanted;
        });
    }

    captured_stream error_output{std::cerr};
    bare_hub hub;
};

TEST_F(played_providers, become_stale_alone_by_a_malformed_message) {
    for (auto const* const identifier : {"healthy", "odd"}) {
        answer_reads(identifier, [] { return reply_with(20.0); });
    }
    recorded<shown> healthy;
    recorded<shown> odd;
    consumer_session watcher{"watcher", access(), settings()};
    auto const record = [](auto& told) {
        return [&told](reading<double> const& now) {
            told.add({now.value, now.freshness});
        };
    };
    auto const queue = change_queue::every(100);
    watcher.follow<double>("healthy", "temperature", queue).on_change(record(healthy));
    watcher.follow<double>("odd", "temperature", queue).on_change(record(odd));
    watcher.start();
    ASSERT_TRUE(healthy.wait_for_count(1) && odd.wait_for_count(1));

    hub.peer.publish("v1.loc.odd.vars.evt.changed", wire::variables_changed_event(std::nullopt));

    ASSERT_TRUE(odd.wait_for_count(3));
    EXPECT_THAT(
        odd.get(),
        ElementsAre(
            shown{20.0, freshness::live},
            shown{20.0, freshness::stale},
            shown{20.0, freshness::live}));
    EXPECT_THAT(healthy.get(), ElementsAre(shown{20.0, freshness::live}));
    watcher.stop();
}

// The answer was made before the value was written, and its time is later than that of the event.
TEST_F(played_providers, confirm_a_write_whose_event_overtakes_an_older_answer) {
    auto const reply_at = [](double temperature, std::string const& note, std::int64_t second) {
        return wire::read_reply(
            fingerprint,
            {wire::at({second, 0}, wire::item(1, temperature)),
             wire::at({second, 0}, wire::item(2, note))});
    };
    consumer_session watcher{"watcher", access(), settings(), variable_permissions::read_write};
    auto const temperature = watcher.follow<double>("healthy", "temperature");
    auto const note = watcher.follow<std::string>("healthy", "note");
    std::atomic<bool> is_writing{false};
    std::atomic<int> answers_to_write{0};
    hub.peer.on_message(
        "v1.loc.healthy.vars.cmd.write", [&](auto const& /*command*/) { is_writing = true; });
    answer_reads("healthy", [&] {
        if (!is_writing) {
            return reply_at(60.0, "none", 2);
        }
        if (++answers_to_write > 1) {
            return reply_at(70.0, "written", 1);
        }
        hub.peer.publish(
            "v1.loc.healthy.vars.evt.changed",
            wire::change_event(
                fingerprint,
                {wire::at({1, 0}, wire::item(1, 70.0)),
                 wire::at({1, 0}, wire::item(2, std::string{"written"}))}));
        EXPECT_TRUE(await([&] { return note.now().value == "written"; }));
        return reply_at(60.0, "none", 2);
    });
    watcher.start();
    ASSERT_TRUE(becomes(temperature, {60.0, freshness::live}));

    is_writing = true;
    EXPECT_EQ(
        watcher.write_and_confirm("healthy", "temperature", 70.0, std::chrono::seconds{30}),
        write_outcome::confirmed);

    EXPECT_TRUE(becomes(temperature, {70.0, freshness::live}));
    watcher.stop();
}

// As above, for the read that follows a silence.
TEST_F(played_providers, show_what_came_last_if_an_event_overtakes_the_answer_to_a_probe) {
    consumer_session watcher{
        "watcher", access(), settings().set_probe_interval(std::chrono::milliseconds{100})};
    auto const temperature = watcher.follow<double>("healthy", "temperature");
    auto const note = watcher.follow<std::string>("healthy", "note");
    std::atomic<bool> is_live{false};
    std::atomic<int> answers_to_probes{0};
    answer_reads("healthy", [&] {
        auto const answer_at = [](double value, std::string const& text, std::int64_t second) {
            return wire::read_reply(
                fingerprint,
                {wire::at({second, 0}, wire::item(1, value)),
                 wire::at({second, 0}, wire::item(2, text))});
        };
        if (is_live && ++answers_to_probes == 1) {
            hub.peer.publish(
                "v1.loc.healthy.vars.evt.changed",
                wire::change_event(
                    fingerprint,
                    {wire::at({1, 0}, wire::item(1, 70.0)),
                     wire::at({1, 0}, wire::item(2, std::string{"changed"}))}));
            EXPECT_TRUE(await([&] { return note.now().value == "changed"; }));
            return answer_at(65.0, "none", 3);
        }
        return is_live ? answer_at(70.0, "changed", 1) : answer_at(60.0, "none", 2);
    });
    watcher.start();
    ASSERT_TRUE(becomes(temperature, {60.0, freshness::live}));

    is_live = true;

    ASSERT_TRUE(await([&] { return answers_to_probes > 2; }));
    EXPECT_TRUE(becomes(temperature, {70.0, freshness::live}));
    watcher.stop();
}

TEST_F(played_providers, become_stale_by_their_silence_while_a_handler_is_busy) {
    std::atomic<bool> answers{true};
    hub.peer.on_message("v1.loc.healthy.vars.qry.read", [&](peer_message const& request) {
        if (answers) {
            hub.peer.publish(request.reply_subject, reply_with(20.0));
        }
    });
    auto impatient = access();
    impatient.options.set_request_time_limit(std::chrono::milliseconds{500});
    std::latch is_called{1};
    std::latch may_return{1};
    consumer_session watcher{
        "watcher", impatient, settings().set_probe_interval(std::chrono::milliseconds{100})};
    auto temperature = watcher.follow<double>("healthy", "temperature");
    temperature.on_change([&](auto const& /*now*/) {
        is_called.count_down();
        may_return.wait();
        temperature.on_change({});
    });
    watcher.start();
    is_called.wait();

    answers = false;

    EXPECT_TRUE(becomes(temperature, {20.0, freshness::stale}));
    may_return.count_down();
    watcher.stop();
}

TEST_F(played_providers, return_while_another_one_that_has_failed_does_not_answer) {
    std::atomic<int> odd_reads{0};
    recorded<std::string> unanswered;
    hub.peer.on_message("v1.loc.odd.vars.qry.read", [&](peer_message const& request) {
        if (++odd_reads == 1) {
            hub.peer.publish(request.reply_subject, unreadable_reply());
        } else {
            unanswered.add(request.reply_subject);
        }
    });
    answer_reads("odder", [&] { return odd_reads < 2 ? unreadable_reply() : reply_with(21.0); });
    auto patient = access();
    patient.options.set_request_time_limit(std::chrono::hours{1});
    consumer_session watcher{"watcher", patient, settings()};
    auto const odd = watcher.follow<double>("odd", "temperature");
    auto const odder = watcher.follow<double>("odder", "temperature");
    watcher.start();

    EXPECT_TRUE(becomes(odder, {21.0, freshness::live}));

    EXPECT_NE(odd.now().freshness, freshness::live);
    ASSERT_TRUE(unanswered.wait_for_count(1));
    auto ended = std::async(std::launch::async, [&] { watcher.stop(); });
    hub.peer.publish(unanswered.get().front(), unreadable_reply());
    ended.get();
}

// A callback for a definition reads its values. The session is destroyed while it decodes them, which
// takes longer than the rest of the end.
TEST_F(played_providers, may_keep_a_callback_busy_while_the_session_is_destroyed) {
    std::vector<wire::variable_definition_table> defined;
    std::vector<wire::variable_table> items;
    for (std::uint32_t id = 1; id < 50'000; ++id) {
        defined.push_back(wire::defined(id, std::to_string(id), wire::double_code));
        items.push_back(wire::item(id, 20.0));
    }
    std::atomic<bool> answers{true};
    recorded<std::string> unanswered;
    hub.peer.on_message("v1.loc.healthy.vars.qry.read", [&](peer_message const& request) {
        if (answers) {
            hub.peer.publish(request.reply_subject, reply_with(20.0));
        } else {
            unanswered.add(request.reply_subject);
        }
    });
    std::optional<consumer_session> watcher{std::in_place, "watcher", access(), settings()};
    auto const temperature = watcher->follow<double>("healthy", "temperature");
    watcher->start();
    ASSERT_TRUE(becomes(temperature, {20.0, freshness::live}));
    answers = false;
    hub.peer.publish(
        "v1.loc.registry.providers.healthy.def.evt.changed",
        wire::definition_event(fingerprint + 1, defined));
    ASSERT_TRUE(unanswered.wait_for_count(1));

    auto destroyed = std::async(std::launch::async, [&] { watcher.reset(); });
    ASSERT_TRUE(becomes(temperature, {20.0, freshness::stale}));
    hub.peer.publish(unanswered.get().front(), wire::read_reply(fingerprint + 1, items));
    destroyed.get();

    EXPECT_THAT(error_output.text(), Not(HasSubstr("bad_weak_ptr")));
}

// One callback that blocks the only delivery thread makes the NATS client drop messages.
TEST_F(played_providers, are_read_again_after_messages_were_dropped) {
    std::atomic<double> held{20.0};
    answer_reads("healthy", [&] { return reply_with(held); });
    recorded<freshness> seen;
    consumer_session watcher{"watcher", access(), settings()};
    auto temperature = watcher.follow<double>("healthy", "temperature");
    temperature.on_change([&](reading<double> const& now) { seen.add(now.freshness); });
    watcher.start();
    ASSERT_TRUE(becomes(temperature, {20.0, freshness::live}));
    struct {
        std::latch is_called{1};
        std::latch may_return{1};
    } blocking;
    consumer slow{
        "slow",
        true,
        [](auto /*identifiers*/, consumer& /*receiver*/, void* user_data) {
            auto& latches = *static_cast<decltype(blocking)*>(user_data);
            latches.is_called.count_down();
            latches.may_return.wait();
        },
        &blocking};
    slow.connect(
        hub.nats_server.get_url(),
        hub.token_endpoint.get_url(),
        "developer",
        "developer-secret",
        connect_options{}.set_delivery_pool_size(1));
    hub.peer.publish(
        "v1.loc.registry.providers.evt.changed",
        wire::provider_list_event({"healthy", "odd", "odder"}));
    blocking.is_called.wait();
    held = 25.0; // which no event says

    constexpr std::size_t large = std::size_t{7} * 1'024 * 1'024; // of which 64 MiB can wait
    auto const event = wire::change_event(fingerprint, {wire::item(2, std::string(large, 'a'))});
    for (int sent = 0; sent < 12; ++sent) {
        hub.peer.publish("v1.loc.healthy.vars.evt.changed", event);
    }
    EXPECT_TRUE(
        await([&] { return testing::Value(seen.get(), testing::Contains(freshness::stale)); }));
    blocking.may_return.count_down();

    EXPECT_TRUE(becomes(temperature, {25.0, freshness::live}));
}

} // namespace

} // namespace arvenhold::corvel::hub
