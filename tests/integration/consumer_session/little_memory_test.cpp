// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "exchange_with_session.hpp"
#include "support/limited_memory.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

class session_with_little_memory : public exchange_with_session {
protected:
    session_with_little_memory() {
        start_oven(77, 20.0);
    }

    std::optional<limited_memory> limit; // of the session's thread, which handlers run on
    recorded<double> told;
    std::optional<consumer_session> watcher{std::in_place, "watcher", access(), quick_settings()};

    // A handler uses what is above.
    void TearDown() override {
        watcher.reset();
    }
};

TEST_F(session_with_little_memory, shows_the_next_value_when_there_is_memory_again) {
    auto followed = watcher->follow<double>("oven", "temperature");
    followed.on_change([&](auto const& now) {
        limit.reset();
        told.add(now.value);
        if (now.value == 20.0) {
            limit.emplace(0, 10); // some for handing values over, the others for ticks
        }
    });
    watcher->start();
    ASSERT_TRUE(told.wait_for(20.0));

    publish_temperature(21.0);

    EXPECT_TRUE(told.wait_for(21.0));
}

TEST_F(session_with_little_memory, is_stopped_and_destroyed_without_memory) {
    auto const followed = watcher->follow<double>("oven", "temperature");
    watcher->follow_all("*", "**").on_change([&](auto const& /*now*/) { told.add(0.0); });
    watcher->start();
    ASSERT_TRUE(becomes_live(followed, 20.0));

    {
        limited_memory const none{0};
        watcher->stop();
        watcher.reset();
    }

    EXPECT_EQ(followed.now().freshness, freshness::stale);
}

} // namespace

} // namespace arvenhold::corvel::hub
