// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "testkit/text.hpp"

#include <gmock/gmock.h>

#include <limits>

namespace arvenhold::corvel::hub::testkit {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

TEST(text_of_limit, counts_whole_seconds_in_seconds) {
    EXPECT_EQ(text_of(milliseconds{2000}), "2 s");
    EXPECT_EQ(text_of(milliseconds{1500}), "1500 ms");
}

TEST(text_of_value, tells_types_apart) {
    EXPECT_EQ(text_of(variable_value{true}), "true");
    EXPECT_EQ(text_of(variable_value{false}), "false");
    EXPECT_EQ(text_of(variable_value{20.0}), "20.0");
    EXPECT_EQ(text_of(variable_value{20}), "20");
    EXPECT_EQ(text_of(variable_value{"20"}), "\"20\"");
    EXPECT_EQ(text_of(variable_value{timestamp{nanoseconds{20}}}), "20 ns since 1970");
    EXPECT_EQ(text_of(variable_value{nanoseconds{20}}), "20 ns");
}

TEST(text_of_value, keeps_every_digit_of_a_number) {
    EXPECT_EQ(text_of(variable_value{0.1}), "0.1");
    EXPECT_EQ(text_of(variable_value{1e100}), "1e+100");
    EXPECT_EQ(text_of(variable_value{std::numeric_limits<double>::infinity()}), "inf");
}

TEST(text_of_reading, has_value_quality_and_freshness) {
    any_reading reading;
    reading.value = 20.0;
    reading.quality = variable_quality::uncertain;
    reading.freshness = freshness::stale;

    EXPECT_EQ(text_of(reading), "20.0, uncertain, stale");
}

TEST(joined, separates_by_commas) {
    EXPECT_EQ(joined({"one", "two"}), "one, two");
    EXPECT_EQ(joined({}), "nothing");
    EXPECT_EQ(joined({}, "(none)"), "(none)");
}

TEST(find_mismatch, names_both_types) {
    EXPECT_EQ(
        find_mismatch("temperature", 20.0, 20),
        "temperature has the type double, but 20 has the type int64");
    EXPECT_EQ(find_mismatch("temperature", 20.0, 30.0), "");
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
