// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_with_session.hpp"

#include <gmock/gmock.h>

#include <poll.h>

#include <algorithm>
#include <cstdint>
#include <future>
#include <latch>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

// Handlers use what the tests declare, so the session ends first.
class session_handlers : public exchange_with_session {
protected:
    session_handlers() {
        start_oven(77, 20.0);
    }

    std::optional<consumer_session> watcher{std::in_place, "watcher", access(), quick_settings()};
};

TEST_F(session_handlers, that_are_slow_see_the_latest_value_and_how_many_they_missed) {
    auto followed = watcher->follow<double>("oven", "temperature");
    recorded<std::pair<double, std::uint64_t>> told;
    std::latch is_called{1};
    std::latch may_continue{1};
    followed.on_change([&](auto const& now) {
        if (told.get().empty()) {
            told.add({now.value, now.skipped});
            is_called.count_down();
            may_continue.wait();
        } else {
            told.add({now.value, now.skipped});
        }
    });
    watcher->start();
    is_called.wait();

    for (auto const value : {21.0, 22.0, 23.0}) {
        publish_temperature(value);
        ASSERT_TRUE(becomes_live(followed, value));
    }
    may_continue.count_down();

    ASSERT_TRUE(told.wait_for_count(2));
    EXPECT_EQ(told.get()[1], (std::pair<double, std::uint64_t>{23.0, 2}));
    watcher.reset();
}

TEST_F(session_handlers, that_hang_do_not_keep_a_lost_provider_live) {
    auto followed = watcher->follow<double>("oven", "temperature");
    std::latch is_called{1};
    std::latch may_continue{1};
    followed.on_change([&](auto const& now) {
        if (now.freshness == freshness::live) {
            is_called.count_down();
            may_continue.wait();
        }
    });
    watcher->start();
    is_called.wait();

    hub.get_nats_server().kill();

    EXPECT_TRUE(becomes_stale(followed));
    may_continue.count_down();
    watcher.reset();
}

TEST_F(session_handlers, may_stop_the_session) {
    auto followed = watcher->follow<double>("oven", "temperature");
    recorded<double> told;
    followed.on_change([&](auto const& now) {
        watcher->stop();
        told.add(now.value);
    });
    watcher->start();

    ASSERT_TRUE(told.wait_for(20.0));

    EXPECT_EQ(watcher->get_status().state, session_state::stopped);
    EXPECT_EQ(followed.now().freshness, freshness::stale);
    EXPECT_FALSE(watcher->wait_until_ready(std::chrono::seconds{30}));
    watcher.reset();
}

TEST_F(session_handlers, see_nothing_live_after_any_of_several_stops_at_once) {
    auto const followed = watcher->follow_all("oven", "**");
    watcher->start();
    ASSERT_TRUE(watcher->wait_until_ready(std::chrono::seconds{30}));
    std::vector<std::future<bool>> stops;
    for (int thread = 0; thread < 4; ++thread) {
        stops.push_back(std::async(std::launch::async, [&] {
            watcher->stop();
            return watcher->get_status().state == session_state::stopped
                && followed.now().front().freshness == freshness::stale;
        }));
    }

    for (auto& stop : stops) {
        EXPECT_TRUE(stop.get());
    }
}

TEST_F(session_handlers, may_destroy_the_session) {
    auto followed = watcher->follow<double>("oven", "temperature");
    recorded<double> told;
    followed.on_change([&](auto const& now) {
        watcher.reset();
        told.add(now.value);
    });
    watcher->start();

    EXPECT_TRUE(told.wait_for(20.0));
    EXPECT_EQ(followed.now().freshness, freshness::stale);
}

TEST_F(session_handlers, are_dropped_with_the_session_even_if_they_hold_what_it_follows) {
    auto const held = std::make_shared<int>();
    std::weak_ptr<int> const left = held;
    auto followed = watcher->follow<double>("oven", "temperature");
    recorded<double> told;
    followed.on_change([followed, held, &told](auto const&) { told.add(followed.now().value); });
    watcher->set_status_handler([followed, held](auto const&, auto const&) {});
    watcher->set_definition_handler([followed, held](auto const&) {});
    watcher->start();
    ASSERT_TRUE(told.wait_for(20.0));

    watcher.reset();
    followed.on_change([followed, held](auto const&) {});

    EXPECT_EQ(left.use_count(), 1) << "beside the one of this test";
}

TEST_F(session_handlers, receive_what_was_read_before_they_were_set) {
    auto followed = watcher->follow<double>("oven", "temperature");
    watcher->start();
    ASSERT_TRUE(becomes_live(followed, 20.0));
    recorded<shown> told;

    followed.on_change([&](auto const& now) { told.add({now.value, now.freshness}); });

    EXPECT_TRUE(told.wait_for({20.0, freshness::live}));
    watcher.reset();
}

TEST_F(session_handlers, are_not_called_again_when_something_else_is_followed) {
    auto followed = watcher->follow<double>("oven", "temperature");
    recorded<shown> told;
    followed.on_change([&](auto const& now) { told.add({now.value, now.freshness}); });
    watcher->start();
    ASSERT_TRUE(told.wait_for({20.0, freshness::live}));

    auto const set_point = watcher->follow<double>("oven", "set_point");
    ASSERT_TRUE(becomes_live(set_point, 60.0));
    publish_temperature(21.0);
    ASSERT_TRUE(told.wait_for({21.0, freshness::live}));

    EXPECT_THAT(
        told.get(),
        testing::ElementsAre(shown{20.0, freshness::live}, shown{21.0, freshness::live}));
    watcher.reset();
}

TEST_F(session_handlers, that_throw_are_reported_and_called_again) {
    auto followed = watcher->follow<double>("oven", "temperature");
    recorded<double> told;
    followed.on_change([&](auto const& now) {
        told.add(now.value);
        throw std::runtime_error{"out of paper"};
    });
    watcher->start();
    ASSERT_TRUE(told.wait_for(20.0));

    publish_temperature(21.0);

    EXPECT_TRUE(told.wait_for(21.0));
    EXPECT_TRUE(await([&] {
        return error_output.text().find("watcher: a handler threw an exception: out of paper")
            != std::string::npos;
    }));
    watcher.reset();
}

TEST_F(session_handlers, receive_the_values_of_one_event_together) {
    auto followed = watcher->follow_all("oven", "**");
    recorded<std::size_t> sizes;
    followed.on_batch([&](auto const& now) { sizes.add(now.size()); });
    watcher->start();
    ASSERT_TRUE(sizes.wait_for(2));

    publish_temperature(21.0);

    EXPECT_TRUE(sizes.wait_for(1));
    watcher.reset();
}

TEST_F(session_handlers, wait_for_dispatch_if_that_is_wanted) {
    consumer_session hosted{
        "hosted", access(), quick_settings().set_handlers_wait_for_dispatch(true)};
    auto followed = hosted.follow<double>("oven", "temperature");
    std::vector<std::pair<double, std::thread::id>> told;
    followed.on_change(
        [&](auto const& now) { told.emplace_back(now.value, std::this_thread::get_id()); });
    hosted.start();

    while (told.empty()) {
        pollfd readable{hosted.get_dispatch_descriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&readable, 1, 30'000), 1);
        hosted.dispatch();
    }

    EXPECT_EQ(told.front(), std::pair(20.0, std::this_thread::get_id()));
}

// Handlers wait until the test lets them run.
class dispatched_handlers : public exchange_with_session {
protected:
    dispatched_handlers() {
        start_oven(77, 20.0);
        hosted.start();
    }

    // Runs what has waited until there is nothing more.
    void dispatch_all() {
        pollfd readable{hosted.get_dispatch_descriptor(), POLLIN, 0};
        while (::poll(&readable, 1, 0) == 1) {
            hosted.dispatch();
        }
    }

    // Publishes values, of which every one waits when this returns.
    void let_wait(followed_variable<double> const& followed, std::vector<double> const& values) {
        for (auto const value : values) {
            publish_temperature(value);
            ASSERT_TRUE(becomes_live(followed, value));
        }
        pollfd readable{hosted.get_dispatch_descriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&readable, 1, 30'000), 1);
    }

    [[nodiscard]] bool becomes(session_state wanted) const {
        return await([&] { return hosted.get_provider_status("oven").state == wanted; });
    }

    // Replaces the provider. The handlers for its states wait when this returns.
    void restart_oven(definition_fingerprint fingerprint, double temperature) {
        oven.reset();
        ASSERT_TRUE(becomes(session_state::degraded));
        start_oven(fingerprint, temperature);
        ASSERT_TRUE(becomes(session_state::ready));
    }

    consumer_session hosted{
        "hosted", access(), quick_settings().set_handlers_wait_for_dispatch(true)};
};

TEST_F(dispatched_handlers, hear_of_changes_after_others_were_removed_while_one_waited) {
    auto followed = hosted.follow<double>("oven", "temperature");
    followed.on_change([](auto const& /*now*/) {});
    ASSERT_TRUE(becomes_live(followed, 20.0));
    dispatch_all();
    let_wait(followed, {21.0});
    followed.on_change({});
    dispatch_all();
    std::vector<double> told;
    followed.on_change([&](auto const& now) { told.push_back(now.value); });
    ASSERT_TRUE(await([&] {
        dispatch_all();
        return !told.empty();
    }));

    let_wait(followed, {22.0});
    dispatch_all();

    EXPECT_THAT(told, testing::ElementsAre(21.0, 22.0));
}

TEST_F(dispatched_handlers, do_not_begin_after_one_has_stopped_the_session) {
    auto followed = hosted.follow<double>("oven", "temperature", change_queue::every(10));
    std::vector<double> told;
    followed.on_change([&](auto const& now) {
        hosted.stop();
        told.push_back(now.value);
    });
    ASSERT_TRUE(becomes_live(followed, 20.0));
    let_wait(followed, {21.0, 22.0});

    dispatch_all();

    EXPECT_THAT(told, testing::ElementsAre(20.0));
    EXPECT_EQ(hosted.get_provider_status("oven").state, session_state::stopped);
}

TEST_F(dispatched_handlers, are_replaced_for_what_has_been_taken) {
    auto followed = hosted.follow<double>("oven", "temperature", change_queue::every(10));
    std::vector<std::string> told;
    followed.on_change([&](auto const& /*now*/) {
        told.emplace_back("first");
        followed.on_change([&](auto const& /*next*/) { told.emplace_back("second"); });
    });
    ASSERT_TRUE(becomes_live(followed, 20.0));
    let_wait(followed, {21.0, 22.0});

    dispatch_all();

    ASSERT_GE(told.size(), 3U);
    EXPECT_EQ(told[0], "first");
    EXPECT_EQ(told[1], "second");
}

TEST_F(dispatched_handlers, are_replaced_by_one_for_batches_for_what_has_been_taken) {
    auto const shown = hosted.follow<double>("oven", "temperature");
    auto followed = hosted.follow_all("oven", "temperature", change_queue::every(100));
    std::vector<double> told;
    followed.on_change([&](auto const& /*now*/) {
        followed.on_batch([&](auto const& now) {
            for (auto const& one : now) {
                told.push_back(std::get<double>(one.value));
            }
        });
    });
    ASSERT_TRUE(becomes_live(shown, 20.0));
    std::vector<double> sent(80);
    std::iota(sent.begin(), sent.end(), 21.0);
    let_wait(shown, sent);

    dispatch_all();

    ASSERT_GE(told.size(), sent.size());
    told.resize(sent.size()); // what follows is the present value, which each new handler is shown
    EXPECT_EQ(told, sent);
}

TEST_F(dispatched_handlers, hear_of_what_waited_while_there_was_none_for_a_moment) {
    auto followed = hosted.follow_all("oven", "**");
    std::vector<std::string> told;
    auto const set_next = [&](void const* /*none*/) {
        followed.on_change([&](auto const& now) { told.push_back(now.path); });
    };
    followed.on_change([&, called_when_it_goes = std::shared_ptr<void>{nullptr, set_next}](
                           auto const& /*now*/) { followed.on_change({}); });
    ASSERT_TRUE(await([&] { return followed.now().size() == 2; }));

    EXPECT_TRUE(await([&] {
        dispatch_all();
        return told.size() == 2;
    }));

    EXPECT_THAT(told, testing::UnorderedElementsAre("temperature", "set_point"));
}

TEST_F(dispatched_handlers, see_as_live_what_has_returned_before_they_run) {
    auto followed = hosted.follow<double>("oven", "temperature");
    recorded<shown> told;
    followed.on_change([&](auto const& now) { told.add({now.value, now.freshness}); });
    ASSERT_TRUE(becomes_live(followed, 20.0));
    oven.reset();
    ASSERT_TRUE(becomes_stale(followed));
    start_oven(78, 22.0);
    ASSERT_TRUE(becomes_live(followed, 22.0));

    dispatch_all();

    EXPECT_THAT(told.get(), testing::ElementsAre(shown{22.0, freshness::live}));
}

TEST_F(dispatched_handlers, hear_of_states_behind_the_changes_that_came_before) {
    auto followed = hosted.follow<double>("oven", "temperature", change_queue::every(10));
    std::vector<std::string> told;
    followed.on_change([&](auto const& now) {
        told.emplace_back(now.freshness == freshness::live ? "live" : "stale");
    });
    hosted.set_status_handler([&](auto const& provider, auto const& status) {
        std::string const state = status.state == session_state::ready ? "ready" : "lost";
        if (provider == "oven" && (told.empty() || told.back() != state)) {
            told.push_back(state); // there are several reasons
        }
    });
    auto const is_told_ready = [&] {
        return await([&] {
            dispatch_all();
            return !told.empty() && told.back() == "ready";
        });
    };
    ASSERT_TRUE(is_told_ready());
    told.clear();
    restart_oven(78, 22.0);
    ASSERT_TRUE(is_told_ready());

    EXPECT_THAT(told, testing::ElementsAre("stale", "lost", "live", "ready"));
}

TEST_F(dispatched_handlers, receive_changes_in_their_order_although_the_state_changes_meanwhile) {
    auto followed = hosted.follow<double>("oven", "temperature", change_queue::every(100));
    std::vector<double> told;
    followed.on_change([&](auto const& now) { told.push_back(now.value); });
    hosted.set_status_handler([](auto const& /*provider*/, auto const& /*status*/) {});
    ASSERT_TRUE(becomes_live(followed, 20.0));
    let_wait(followed, {21.0});
    restart_oven(78, 22.0);
    let_wait(followed, {23.0, 24.0});

    ASSERT_TRUE(await([&] {
        dispatch_all();
        return !told.empty() && told.back() == 24.0;
    }));

    EXPECT_TRUE(std::is_sorted(told.begin(), told.end())) << testing::PrintToString(told);
}

TEST_F(dispatched_handlers, leave_no_more_than_the_limit_waiting_although_the_state_changes) {
    auto followed = hosted.follow<double>("oven", "temperature", change_queue::every(3));
    std::vector<double> told;
    std::uint64_t skipped = 0;
    followed.on_change([&](auto const& now) {
        told.push_back(now.value);
        skipped += now.skipped;
    });
    std::vector<session_state> states;
    hosted.set_status_handler([&](std::string const& provider, session_status const& status) {
        if (provider == "oven") {
            states.push_back(status.state);
        }
    });
    ASSERT_TRUE(becomes_live(followed, 20.0));
    let_wait(followed, {21.0, 22.0});
    restart_oven(78, 23.0);
    let_wait(followed, {24.0, 25.0});
    restart_oven(79, 26.0);
    let_wait(followed, {27.0, 28.0});

    ASSERT_TRUE(await([&] {
        dispatch_all();
        return !told.empty() && told.back() == 28.0;
    }));

    EXPECT_THAT(told, testing::ElementsAre(26.0, 27.0, 28.0));
    EXPECT_GE(skipped, 8U) << "20 to 25, and two losses";
    EXPECT_GE(std::count(states.begin(), states.end(), session_state::degraded), 2);
    EXPECT_EQ(states.back(), session_state::ready);
}

TEST_F(session_handlers, are_told_the_states) {
    recorded<std::pair<std::string, session_state>> told;
    auto const followed = watcher->follow<double>("oven", "temperature");
    watcher->set_status_handler([&](std::string const& provider, session_status const& status) {
        told.add({provider, status.state});
    });
    watcher->start();

    EXPECT_TRUE(told.wait_for({"oven", session_state::ready}));
    EXPECT_TRUE(told.wait_for({"", session_state::ready}));
    oven.reset();
    EXPECT_TRUE(told.wait_for({"oven", session_state::degraded}));
    EXPECT_TRUE(told.wait_for({"", session_state::degraded}));
    watcher.reset();
}

TEST_F(session_handlers, are_not_needed_to_destroy_a_session_that_was_never_started) {
    auto const followed = watcher->follow<double>("oven", "temperature");

    watcher.reset();

    EXPECT_EQ(followed.now().freshness, freshness::never_received);
}

} // namespace

} // namespace arvenhold::corvel::hub
