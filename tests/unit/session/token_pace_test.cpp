// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/token_pace.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr token_pace::time_point start{std::chrono::hours{1}};

TEST(token_pace, lets_the_first_one_connect_when_it_wants) {
    token_pace pace{seconds{1}};

    EXPECT_EQ(pace.reserve(start), start);
}

TEST(token_pace, keeps_the_next_ones_at_a_distance) {
    token_pace pace{seconds{1}};
    pace.reserve(start);

    EXPECT_EQ(pace.reserve(start), start + seconds{1});
    EXPECT_EQ(pace.reserve(start + milliseconds{1500}), start + seconds{2});
}

TEST(token_pace, delays_nobody_who_comes_late_enough) {
    token_pace pace{seconds{1}};
    pace.reserve(start);

    EXPECT_EQ(pace.reserve(start + seconds{5}), start + seconds{5});
}

TEST(token_pace, is_one_connect_in_a_second_for_the_process) {
    auto const first = process_token_pace().reserve(start);

    EXPECT_EQ(process_token_pace().reserve(start), first + seconds{1});
}

} // namespace

} // namespace arvenhold::corvel::hub
