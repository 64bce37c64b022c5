// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "exchange_with_session.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <latch>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using testing::IsEmpty;
using testing::SizeIs;

class followed_providers : public exchange_with_session {
protected:
    // Providers in processes of their own, with the variables of tests/reliability/world.cpp.
    std::unique_ptr<dev::child_process> start_process(std::string const& identifier) {
        auto started = std::make_unique<dev::child_process>(
            CORVEL_HUB_PROVIDER_PROCESS,
            std::vector<std::string>{
                hub.get_nats_server().get_url(),
                hub.get_token_endpoint().get_url(),
                identifier,
                "0"});
        EXPECT_TRUE(started->wait_until_output_contains("the provider runs", patience));
        return started;
    }

    static std::vector<any_reading> of_provider(
        followed_variables const& all, std::string const& provider) {
        auto readings = all.now();
        readings.erase(
            std::remove_if(
                readings.begin(),
                readings.end(),
                [&](auto const& reading) { return reading.provider != provider; }),
            readings.end());
        return readings;
    }

    static bool is_live(followed_variables const& all, std::string const& provider) {
        auto const readings = of_provider(all, provider);
        return !readings.empty()
            && std::all_of(readings.begin(), readings.end(), [](auto const& reading) {
                   return reading.freshness == freshness::live;
               });
    }

    static constexpr std::chrono::seconds patience{30};

    recorded<std::vector<std::string>> vanished;
    recorded<std::vector<std::string>> changed;
    consumer_session watcher{"watcher", access(), quick_settings()};
};

TEST_F(followed_providers, are_lost_and_return_with_other_ids) {
    start_oven(77, 20.0);
    auto const temperature = watcher.follow<double>("oven", "temperature");
    watcher.start();
    ASSERT_TRUE(becomes_live(temperature, 20.0));

    oven.reset();
    ASSERT_TRUE(becomes_stale(temperature));
    EXPECT_TRUE(await([&] {
        return watcher.get_provider_status("oven").reason == session_reason::provider_missing;
    }));
    EXPECT_EQ(watcher.get_provider_status("oven").state, session_state::degraded);
    start_oven(78, 23.0);

    EXPECT_TRUE(becomes_live(temperature, 23.0));
    publish_temperature(24.0);
    EXPECT_TRUE(becomes_live(temperature, 24.0));
}

TEST_F(followed_providers, show_the_right_variables_after_an_equal_fingerprint_with_other_ids) {
    start_oven(77, 20.0);
    auto const temperature = watcher.follow<double>("oven", "temperature");
    watcher.start();
    ASSERT_TRUE(becomes_live(temperature, 20.0));

    oven.reset();
    ASSERT_TRUE(hub.get_registry().wait_until_provider_gone("oven", patience));
    oven.emplace(
        "oven",
        77,
        std::vector<variable_definition_entry>{
            {"set_point", 61.0, variable_permissions::read_write},
            {"temperature", 24.0, variable_permissions::read_only}});
    connect(oven->sender);

    EXPECT_TRUE(becomes_live(temperature, 24.0));
}

TEST_F(followed_providers, that_change_their_definition_have_vanished_and_changed_variables_told) {
    start_oven(77, 20.0);
    auto const temperature = watcher.follow<double>("oven", "temperature");
    auto const set_point = watcher.follow<double>("oven", "set_point");
    watcher.set_definition_handler([&](auto const& change) {
        vanished.add(change.vanished);
        for (auto const& one : change.changed_types) {
            changed.add({change.provider, one.path});
        }
    });
    watcher.start();
    ASSERT_TRUE(becomes_live(temperature, 20.0));

    oven->offer(78, {{"set_point", true, variable_permissions::read_write}});

    EXPECT_TRUE(vanished.wait_for({"temperature"}));
    EXPECT_TRUE(changed.wait_for({"oven", "set_point"}));
    EXPECT_TRUE(becomes_stale(temperature));
    EXPECT_TRUE(becomes_stale(set_point));
}

TEST_F(followed_providers, that_come_later_are_found_by_patterns) {
    auto const all = watcher.follow_all("**", "**");
    watcher.start();
    ASSERT_TRUE(watcher.wait_until_ready(patience));
    EXPECT_THAT(all.now(), IsEmpty());

    start_oven(77, 20.0);

    ASSERT_TRUE(await([&] { return is_live(all, "oven"); }));
    EXPECT_THAT(all.now(), SizeIs(2));
}

TEST_F(followed_providers, that_are_named_are_missing_even_if_all_their_variables_are_followed) {
    auto const all = watcher.follow_all("oven", "**");
    watcher.start();

    ASSERT_TRUE(
        await([&] { return watcher.get_status().reason == session_reason::provider_missing; }));
    EXPECT_EQ(watcher.get_status().state, session_state::connecting);

    start_oven(77, 20.0);
    EXPECT_TRUE(watcher.wait_until_ready(patience));
    EXPECT_TRUE(is_live(all, "oven"));
}

TEST_F(followed_providers, are_followed_also_if_that_begins_later) {
    start_oven(77, 20.0);
    auto const temperature = watcher.follow<double>("oven", "temperature");
    watcher.start();
    ASSERT_TRUE(becomes_live(temperature, 20.0));

    auto const set_point = watcher.follow<double>("oven", "set_point");

    EXPECT_TRUE(becomes_live(set_point, 60.0));
}

TEST_F(followed_providers, are_waited_for_also_if_they_are_followed_later) {
    start_oven(77, 20.0);
    offering dryer{"dryer", 78, {{"temperature", 50.0, variable_permissions::read_only}}};
    connect(dryer.sender);
    std::atomic<bool> is_blocking{false};
    std::latch is_called{1};
    std::latch may_return{1};
    auto temperature = watcher.follow<double>("oven", "temperature");
    temperature.on_change([&](auto const& /*now*/) {
        if (is_blocking) {
            is_called.count_down();
            may_return.wait();
        }
    });
    watcher.start();
    ASSERT_TRUE(watcher.wait_until_ready(patience));
    is_blocking = true;
    publish_temperature(21.0);
    is_called.wait(); // the session's thread looks at nothing meanwhile
    is_blocking = false;

    auto const set_point = watcher.follow<double>("oven", "set_point");
    auto const dried = watcher.follow<double>("dryer", "temperature");

    EXPECT_FALSE(watcher.wait_until_ready(std::chrono::milliseconds{0}));
    may_return.count_down();
    EXPECT_TRUE(watcher.wait_until_ready(patience));
    EXPECT_EQ(set_point.now().freshness, freshness::live);
    EXPECT_EQ(dried.now().freshness, freshness::live);
    watcher.stop();
}

TEST_F(followed_providers, are_named_one_by_one_if_a_type_is_named) {
    EXPECT_THROW(watcher.follow<double>("**", "temperature"), std::invalid_argument);

    watcher.start();
    EXPECT_TRUE(watcher.wait_until_ready(patience)) << "nothing is followed";
}

TEST_F(followed_providers, are_live_although_another_one_hangs) {
    auto const first = start_process("first");
    auto const hanging = start_process("hanging");
    auto const third = start_process("third");
    hanging->freeze();
    auto const all = watcher.follow_all("**", "**");
    watcher.start();

    ASSERT_TRUE(await([&] { return is_live(all, "first") && is_live(all, "third"); }));
    EXPECT_FALSE(is_live(all, "hanging"));
    EXPECT_TRUE(await([&] {
        return watcher.get_provider_status("hanging").reason == session_reason::provider_silent
            && is_live(all, "first");
    }));

    hanging->send_signal(SIGCONT);
    EXPECT_TRUE(await([&] { return is_live(all, "hanging"); }));
}

TEST_F(followed_providers, that_hang_become_stale_alone) {
    auto const first = start_process("first");
    auto const hanging = start_process("hanging");
    auto const all = watcher.follow_all("**", "**");
    watcher.start();
    ASSERT_TRUE(await([&] { return is_live(all, "first") && is_live(all, "hanging"); }));

    hanging->freeze();

    EXPECT_TRUE(await([&] { return !is_live(all, "hanging") && is_live(all, "first"); }));
    hanging->send_signal(SIGCONT);
    EXPECT_TRUE(await([&] { return is_live(all, "hanging"); }));
}

TEST_F(followed_providers, that_are_killed_become_stale) {
    auto const killed = start_process("killed");
    auto const all = watcher.follow_all("killed", "**");
    watcher.start();
    ASSERT_TRUE(await([&] { return is_live(all, "killed"); }));

    killed->send_signal(SIGKILL);

    EXPECT_TRUE(await([&] { return all.now().front().freshness == freshness::stale; }));
    auto const again = start_process("killed");
    EXPECT_TRUE(await([&] { return is_live(all, "killed"); }));
}

} // namespace

} // namespace arvenhold::corvel::hub
