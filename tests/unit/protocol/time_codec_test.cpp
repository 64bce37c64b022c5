// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/time_codec.hpp"
#include "support/case_name.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

struct split_case {
    char const* name;
    std::int64_t count;
    std::int64_t seconds;
    std::int32_t nanos;
};

class split_time : public testing::TestWithParam<split_case> {};

TEST_P(split_time, is_written_as_seconds_and_nanoseconds_of_one_sign) {
    auto const span = to_wire(nanoseconds{GetParam().count});
    auto const point = to_wire(timestamp{nanoseconds{GetParam().count}});

    EXPECT_EQ(span.seconds(), GetParam().seconds);
    EXPECT_EQ(span.nanos(), GetParam().nanos);
    EXPECT_EQ(point.seconds(), GetParam().seconds);
    EXPECT_EQ(point.nanos(), GetParam().nanos);
}

TEST_P(split_time, is_read_back_to_the_nanosecond) {
    Timestamp const wire{GetParam().seconds, GetParam().nanos};

    EXPECT_EQ(span_from_wire(wire), nanoseconds{GetParam().count});
    EXPECT_EQ(point_from_wire(wire), timestamp{nanoseconds{GetParam().count}});
}

INSTANTIATE_TEST_SUITE_P(
    edges,
    split_time,
    testing::Values(
        split_case{"epoch", 0, 0, 0},
        split_case{"one_nanosecond", 1, 0, 1},
        split_case{"one_nanosecond_before_the_epoch", -1, 0, -1},
        split_case{"just_below_a_second", 999'999'999, 0, 999'999'999},
        split_case{"a_second", 1'000'000'000, 1, 0},
        split_case{"a_second_before_the_epoch", -1'000'000'000, -1, 0},
        split_case{"one_and_a_half_seconds_before_the_epoch", -1'500'000'000, -1, -500'000'000},
        split_case{"a_day_of_this_century", 1'700'000'000'123'456'789, 1'700'000'000, 123'456'789},
        split_case{"latest", std::numeric_limits<std::int64_t>::max(), 9'223'372'036, 854'775'807},
        split_case{
            "earliest", std::numeric_limits<std::int64_t>::min(), -9'223'372'036, -854'775'808}),
    case_name);

struct wild_case {
    char const* name;
    std::int64_t seconds;
    std::int32_t nanos;
    std::int64_t count;
};

class wild_time : public testing::TestWithParam<wild_case> {};

TEST_P(wild_time, wraps_around) {
    Timestamp const wire{GetParam().seconds, GetParam().nanos};

    EXPECT_EQ(span_from_wire(wire), nanoseconds{GetParam().count});
    EXPECT_EQ(point_from_wire(wire), timestamp{nanoseconds{GetParam().count}});
}

INSTANTIATE_TEST_SUITE_P(
    edges,
    wild_time,
    testing::Values(
        wild_case{"most_seconds", std::numeric_limits<std::int64_t>::max(), 5, -999'999'995},
        wild_case{"fewest_seconds", std::numeric_limits<std::int64_t>::min(), -7, -7},
        wild_case{
            "one_nanosecond_after_the_latest",
            9'223'372'036,
            854'775'808,
            std::numeric_limits<std::int64_t>::min()},
        wild_case{
            "one_nanosecond_before_the_earliest",
            -9'223'372'036,
            -854'775'809,
            std::numeric_limits<std::int64_t>::max()},
        wild_case{"nanoseconds_of_more_than_a_second", 1, 2'000'000'000, 3'000'000'000},
        wild_case{
            "most_negative_nanoseconds",
            0,
            std::numeric_limits<std::int32_t>::min(),
            -2'147'483'648},
        wild_case{"parts_of_different_signs", 2, -500'000'000, 1'500'000'000}),
    case_name);

TEST(duration, loses_what_is_below_a_microsecond) {
    EXPECT_EQ(duration_from_wire({1, 1'999}), nanoseconds{1'000'001'000});
    EXPECT_EQ(duration_from_wire({0, 999}), nanoseconds{0});
    EXPECT_EQ(duration_from_wire({0, 1'000}), nanoseconds{1'000});
}

TEST(duration, is_truncated_toward_zero) {
    EXPECT_EQ(duration_from_wire({-1, -1'999}), nanoseconds{-1'000'001'000});
    EXPECT_EQ(duration_from_wire({0, -999}), nanoseconds{0});
}

TEST(duration, is_truncated_at_the_extremes_too) {
    EXPECT_EQ(
        duration_from_wire({9'223'372'036, 854'775'807}), nanoseconds{9'223'372'036'854'775'000});
    EXPECT_EQ(
        duration_from_wire({-9'223'372'036, -854'775'808}),
        nanoseconds{-9'223'372'036'854'775'000});
}

} // namespace

} // namespace arvenhold::corvel::hub
