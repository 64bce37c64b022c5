// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/write_watch.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::chrono::milliseconds no_time{0};

TEST(write_watch, is_not_confirmed_while_nothing_is_seen) {
    write_watch watch{"set_point", 5.0};

    EXPECT_EQ(watch.wait(no_time), write_outcome::not_confirmed);
}

TEST(write_watch, is_confirmed_by_the_written_value) {
    write_watch watch{"set_point", 5.0};

    watch.see(5.0, false);

    EXPECT_EQ(watch.wait(no_time), write_outcome::confirmed);
}

TEST(write_watch, is_refused_by_another_value_that_is_published) {
    write_watch watch{"set_point", 5.0};

    watch.see(4.0, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::refused);
}

// An event may have been in flight when the write was sent.
TEST(write_watch, is_confirmed_by_the_written_value_after_another_one) {
    write_watch watch{"set_point", 5.0};
    watch.see(4.0, true);

    watch.see(5.0, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::confirmed);
}

TEST(write_watch, is_refused_by_another_value_that_was_seen_before_the_provider_was_lost) {
    write_watch watch{"set_point", 5.0};
    watch.see(4.0, true);

    watch.give_up();

    EXPECT_EQ(watch.wait(no_time), write_outcome::refused);
}

TEST(write_watch, ignores_another_value_that_was_only_read) {
    write_watch watch{"set_point", 5.0};
    watch.see(4.0, false);

    watch.see(5.0, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::confirmed);
}

TEST(write_watch, keeps_the_first_outcome) {
    write_watch watch{"set_point", 5.0};
    watch.give_up();

    watch.see(5.0, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::not_confirmed);
}

TEST(write_watch, is_confirmed_by_not_a_number_if_that_was_written) {
    auto const not_a_number = std::numeric_limits<double>::quiet_NaN();
    write_watch watch{"set_point", not_a_number};

    watch.see(not_a_number, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::confirmed);
}

TEST(write_watch, is_confirmed_by_a_duration_in_whole_microseconds) {
    write_watch watch{"delay", std::chrono::nanoseconds{1'500}};

    watch.see(std::chrono::nanoseconds{1'000}, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::confirmed);
}

TEST(write_watch, is_refused_by_a_value_of_another_type) {
    write_watch watch{"set_point", 5.0};

    watch.see(std::int64_t{5}, true);

    EXPECT_EQ(watch.wait(no_time), write_outcome::refused);
}

} // namespace

} // namespace arvenhold::corvel::hub
