// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_with_session.hpp"

#include <atomic>
#include <optional>
#include <stop_token>
#include <thread>

namespace arvenhold::corvel::hub {

namespace {

class ended_watcher : public exchange_with_session {
protected:
    ended_watcher() {
        start_oven(77, 20.0);
    }

    // Starts a session, which becomes ready.
    void start() {
        watcher.emplace("watcher", access(), quick_settings());
        watcher->follow_all("*", "**").on_change([this](auto const& /*now*/) { ++calls; });
        watcher->start();
        ASSERT_TRUE(watcher->wait_until_ready(patience));
    }

    [[nodiscard]] bool is_called_again() const {
        return await([this, seen = calls.load()] { return calls > seen; });
    }

    // Handlers use what is above.
    void TearDown() override {
        watcher.reset();
        EXPECT_THAT(error_output.text(), testing::Not(testing::HasSubstr("bad_weak_ptr")));
    }

    std::atomic<int> calls{0};
    std::optional<consumer_session> watcher;
};

TEST_F(ended_watcher, may_be_destroyed_while_definitions_and_values_arrive) {
    definition_fingerprint latest = 77;
    for (int round = 0; round < 4; ++round) {
        start();
        std::jthread const changing{[&](std::stop_token const& done) {
            while (!done.stop_requested()) {
                oven->offer(++latest, {{"temperature", 20.0, variable_permissions::read_only}});
                for (int count = 0; count < 100; ++count) {
                    publish_temperature(count);
                }
            }
        }};
        ASSERT_TRUE(is_called_again());
        watcher.reset();
    }
}

TEST_F(ended_watcher, may_be_destroyed_while_values_arrive_and_the_link_breaks) {
    start();
    for (int count = 0; count < 10'000; ++count) {
        publish_temperature(count);
    }
    hub.get_nats_server().kill();
    watcher.reset();
}

TEST_F(ended_watcher, may_be_destroyed_by_a_handler_in_dispatch) {
    watcher.emplace("watcher", access(), quick_settings().set_handlers_wait_for_dispatch(true));
    auto temperature = watcher->follow<double>("oven", "temperature");
    temperature.on_change([this](auto const& /*now*/) { watcher.reset(); });
    watcher->start();

    EXPECT_TRUE(await([this] {
        watcher->dispatch();
        return !watcher.has_value();
    }));
    EXPECT_EQ(temperature.now().freshness, freshness::stale);
}

} // namespace

} // namespace arvenhold::corvel::hub
