// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/time_text.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

namespace arvenhold::corvel::hub::ctl {
namespace {

using namespace std::chrono_literals;

TEST(time_as_text, has_digits_in_groups_of_three) {
    timestamp const whole{std::chrono::nanoseconds{1'700'000'000'000'000'000}};

    EXPECT_EQ(make_readable(whole, true), "2023-11-14 22:13:20.000Z");
    EXPECT_EQ(make_readable(whole + 1us, true), "2023-11-14 22:13:20.000001Z");
    EXPECT_EQ(make_short(whole + 1999us, true), "2023-11-14 22:13:20.001Z");
    EXPECT_EQ(make_rfc3339(whole + 1us), "2023-11-14T22:13:20.000001000Z");
}

TEST(span_between_times, is_exact_for_those_of_today) {
    timestamp const whole{std::chrono::nanoseconds{1'700'000'000'000'000'000}};

    EXPECT_EQ(get_span(whole, whole + 7100001us).count(), 7.100001);
    EXPECT_EQ(get_span(whole + 1ns, whole).count(), -1e-9);
}

TEST(time_as_text, reaches_the_ends_of_the_range) {
    timestamp const first{std::chrono::nanoseconds{std::numeric_limits<std::int64_t>::min()}};
    timestamp const last{std::chrono::nanoseconds{std::numeric_limits<std::int64_t>::max()}};

    EXPECT_EQ(make_rfc3339(first), "1677-09-21T00:12:43.145224192Z");
    EXPECT_EQ(make_short(first, true), "1677-09-21 00:12:43.145Z");
    EXPECT_DOUBLE_EQ(get_span(first, last).count(), 18'446'744'073.709551615);
    EXPECT_DOUBLE_EQ(get_span(last, first).count(), -18'446'744'073.709551615);
    EXPECT_EQ(make_rfc3339(last), "2262-04-11T23:47:16.854775807Z");
    EXPECT_EQ(parse_time("2262-04-11T23:47:16.854775807Z"), last);
    EXPECT_EQ(parse_time("2262-04-11T23:47:16.854775808Z"), std::nullopt);
}

TEST(duration_as_text, reaches_the_ends_of_the_range) {
    std::chrono::nanoseconds const lowest{std::numeric_limits<std::int64_t>::min()};

    EXPECT_EQ(make_seconds(lowest), "-9223372036.854775808s");
    EXPECT_EQ(make_readable(7ns), "7ns");
    EXPECT_EQ(make_readable(1500us), "1.5ms");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
