// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/deadline.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(deadline_after, is_as_far_away_as_the_limit) {
    auto const before = clock::now();

    auto const deadline = deadline_after(milliseconds{5'000});

    EXPECT_GE(deadline, before + milliseconds{5'000});
    EXPECT_LE(deadline, clock::now() + milliseconds{5'000});
}

TEST(deadline_after, is_the_end_of_time_for_a_limit_that_reaches_beyond_it) {
    EXPECT_EQ(deadline_after(milliseconds::max()), clock::time_point::max());
    EXPECT_EQ(deadline_after(std::chrono::hours{24 * 365 * 1'000}), clock::time_point::max());
}

TEST(deadline_after, has_passed_for_a_negative_limit) {
    auto const deadline = deadline_after(milliseconds::min());

    EXPECT_LE(deadline, clock::now());
}

} // namespace

} // namespace arvenhold::corvel::hub
