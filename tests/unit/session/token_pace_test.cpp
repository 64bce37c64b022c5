// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/token_pace.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr token_pace::time_point start{std::chrono::hours{1}};

TEST(token_pace, lets_the_first_one_connect_and_request_at_once) {
    token_pace pace{seconds{1}};

    EXPECT_EQ(pace.begin_connect(start), start);
    EXPECT_EQ(pace.reserve_request(start, start), start);
}

TEST(token_pace, keeps_connects_at_a_distance) {
    token_pace pace{seconds{1}};
    pace.begin_connect(start);

    EXPECT_EQ(pace.begin_connect(start + milliseconds{1}), start + seconds{1});
    EXPECT_EQ(pace.begin_connect(start + milliseconds{999}), start + seconds{1});
    EXPECT_EQ(pace.begin_connect(start + seconds{1}), start + seconds{1});
    EXPECT_EQ(pace.begin_connect(start + seconds{1}), start + seconds{2});
}

TEST(token_pace, keeps_requests_at_a_distance) {
    token_pace pace{seconds{1}};
    auto const latest = start + seconds{10};
    pace.reserve_request(start, latest);

    EXPECT_EQ(pace.reserve_request(start, latest), start + seconds{1});
    EXPECT_EQ(pace.reserve_request(start + milliseconds{1'500}, latest), start + seconds{2});
}

TEST(token_pace, delays_nobody_who_comes_late_enough) {
    token_pace pace{seconds{1}};
    pace.begin_connect(start);
    pace.reserve_request(start, start);

    EXPECT_EQ(pace.begin_connect(start + seconds{5}), start + seconds{5});
    EXPECT_EQ(pace.reserve_request(start + seconds{5}, start + seconds{5}), start + seconds{5});
}

TEST(token_pace, lets_no_one_connect_before_requests_that_have_a_turn) {
    token_pace pace{seconds{1}};
    pace.reserve_request(start, start);
    pace.reserve_request(start, start + seconds{1});

    EXPECT_EQ(pace.begin_connect(start + seconds{1}), start + seconds{2});
}

TEST(token_pace, reserves_no_turn_that_comes_too_late) {
    token_pace pace{seconds{1}};
    pace.reserve_request(start, start);

    EXPECT_EQ(pace.reserve_request(start, start + milliseconds{999}), std::nullopt);

    EXPECT_EQ(pace.reserve_request(start, start + seconds{1}), start + seconds{1});
}

TEST(token_pace, is_one_request_in_a_second_for_the_process) {
    auto const end = token_pace::time_point::max();
    auto const first = process_token_pace().reserve_request(start, end).value();

    EXPECT_EQ(process_token_pace().reserve_request(start, end), first + seconds{1});
}

} // namespace

} // namespace arvenhold::corvel::hub
