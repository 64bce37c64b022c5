// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/packed_value.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

class every_type : public testing::TestWithParam<variable_value> {};

TEST_P(every_type, is_returned_as_it_was_given) {
    packed_value const packed{variable_value{GetParam()}};

    EXPECT_EQ(packed.get(), GetParam());
    EXPECT_EQ(packed.index(), GetParam().index());
}

TEST_P(every_type, is_copied_and_moved) {
    packed_value source{variable_value{GetParam()}};
    packed_value const copy{source};
    packed_value const moved{std::move(source)};
    packed_value assigned{variable_value{std::string{"a text that is replaced by the assignment"}}};
    assigned = copy;

    EXPECT_EQ(copy.get(), GetParam());
    EXPECT_EQ(moved.get(), GetParam());
    EXPECT_EQ(assigned.get(), GetParam());
}

TEST_P(every_type, replaces_a_value_of_any_type) {
    for (auto target : {variable_value{true}, variable_value{std::string{"old"}}}) {
        packed_value{variable_value{GetParam()}}.copy_to(target);

        EXPECT_EQ(target, GetParam());
    }
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
