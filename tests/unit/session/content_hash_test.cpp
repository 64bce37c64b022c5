// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/content_hash.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

constexpr auto read_only = variable_permissions::read_only;
constexpr auto writable = variable_permissions::read_write;

// The indices of the alternatives of variable_value.
constexpr std::size_t boolean = 0;
constexpr std::size_t number = 1;

// The vectors of docs/sessions.md, computed with an independent program.
TEST(content_hash, has_these_values) {
    EXPECT_EQ(content_hash({}), 0x811C9DC5U);
    EXPECT_EQ(content_hash({{"temperature", number, read_only}}), 0xED0328B1U);
    EXPECT_EQ(
        content_hash({{"temperature", number, read_only}, {"set_point", number, writable}}),
        0xCBEE0A9BU);
}

TEST(content_hash, does_not_depend_on_the_order_of_the_variables) {
    EXPECT_EQ(
        content_hash({{"a", number, read_only}, {"b", boolean, writable}}),
        content_hash({{"b", boolean, writable}, {"a", number, read_only}}));
}

TEST(content_hash, depends_on_path_type_and_permissions) {
    auto const original = content_hash({{"a", number, read_only}});

    EXPECT_NE(original, content_hash({{"b", number, read_only}}));
    EXPECT_NE(original, content_hash({{"a", boolean, read_only}}));
    EXPECT_NE(original, content_hash({{"a", number, writable}}));
}

TEST(content_hash, tells_a_pair_with_swapped_types_apart) {
    EXPECT_NE(
        content_hash({{"a", number, read_only}, {"b", boolean, read_only}}),
        content_hash({{"a", boolean, read_only}, {"b", number, read_only}}));
}

TEST(content_hash, takes_every_byte_of_a_path_as_a_positive_number) {
    EXPECT_EQ(content_hash({{"\xC3\xA4", number, read_only}}), 0xD18D610CU);
}

} // namespace

} // namespace arvenhold::corvel::hub
