// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/limited_memory.hpp"
#include <hub/session/provider_session.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>

namespace arvenhold::corvel::hub {

namespace {

TEST(unstarted_session, is_given_numbers_without_memory_after_the_first_one) {
    provider_session oven{"oven", {}};
    auto const door = oven.declare<bool>("door", false);
    auto const temperature = oven.declare<double>("temperature", 20.0);
    auto const count = oven.declare<std::int64_t>("count", 0);
    auto const begin = oven.declare<timestamp>("begin", {});
    auto const uptime = oven.declare<std::chrono::nanoseconds>("uptime", {});
    temperature.set(21.0);

    limited_memory const nothing_left{0};
    door.set(true);
    temperature.set(22.0);
    count.set(1);
    begin.set(timestamp{std::chrono::seconds{1}});
    uptime.set(std::chrono::seconds{1});

    EXPECT_FALSE(nothing_left.has_run_out());
    EXPECT_EQ(temperature.get(), 22.0);
    EXPECT_EQ(uptime.get(), std::chrono::seconds{1});
}

} // namespace

} // namespace arvenhold::corvel::hub
