// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/packed_value.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

class every_type : public testing::TestWithParam<variable_value> {};

TEST_P(every_type, is_returned_as_it_was_given) {
    packed_value const packed{GetParam()};

    EXPECT_EQ(packed.get(), GetParam());
    EXPECT_EQ(packed.index(), GetParam().index());
}

INSTANTIATE_TEST_SUITE_P(
    packed_value,
    every_type,
    testing::Values(
        variable_value{true},
        variable_value{1.5},
        variable_value{std::int64_t{-7}},
        variable_value{std::string{"a text that does not fit into the object"}},
        variable_value{timestamp{std::chrono::hours{12}}},
        variable_value{std::chrono::nanoseconds{42}}));

TEST(packed_value, is_at_first_what_a_value_is) {
    EXPECT_EQ(packed_value{}.get(), variable_value{});
}

TEST(packed_value, has_the_size_of_two_words) {
    EXPECT_EQ(sizeof(packed_value), 2 * sizeof(std::uint64_t));
}

} // namespace

} // namespace arvenhold::corvel::hub
