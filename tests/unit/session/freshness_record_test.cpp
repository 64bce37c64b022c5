// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/freshness_record.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::seconds;

freshness_record::clock::time_point after(seconds passed) {
    return freshness_record::clock::time_point{} + passed;
}

TEST(freshness_record, is_live_after_a_read_only) {
    freshness_record record;
    EXPECT_FALSE(record.is_live());

    record.finish_reading(record.count_losses());

    EXPECT_TRUE(record.is_live());
}

TEST(freshness_record, is_stale_since_the_first_loss) {
    freshness_record record;
    record.finish_reading(record.count_losses());

    EXPECT_TRUE(record.lose(after(seconds{3})));
    EXPECT_FALSE(record.lose(after(seconds{5})));

    EXPECT_FALSE(record.is_live());
    EXPECT_EQ(record.get_stale_since(), after(seconds{3}));
}

TEST(freshness_record, is_not_made_live_by_a_read_that_was_in_flight_during_a_loss) {
    freshness_record record;
    auto const begun = record.count_losses();

    EXPECT_FALSE(record.lose(after(seconds{3})));

    record.finish_reading(begun);
    EXPECT_FALSE(record.is_live());
}

TEST(freshness_record, is_live_again_after_a_read_that_began_after_the_loss) {
    freshness_record record;
    record.finish_reading(record.count_losses());
    record.lose(after(seconds{3}));

    record.finish_reading(record.count_losses());

    EXPECT_TRUE(record.is_live());
}

TEST(freshness_record, keeps_what_was_received_before_a_loss_stale_after_it) {
    freshness_record record;
    auto const before = record.count_losses();
    record.finish_reading(before);
    EXPECT_TRUE(record.is_live_since(before));

    record.lose(after(seconds{3}));
    record.finish_reading(record.count_losses());

    EXPECT_FALSE(record.is_live_since(before));
    EXPECT_TRUE(record.is_live_since(record.count_losses()));
}

} // namespace

} // namespace arvenhold::corvel::hub
