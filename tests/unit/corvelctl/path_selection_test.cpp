// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/path_selection.hpp"

#include <gtest/gtest.h>

#include <string>

namespace arvenhold::corvel::hub::ctl {
namespace {

TEST(pattern, stands_for_one_level_or_any) {
    EXPECT_TRUE(matches("zones/*/temperature", "zones/1/temperature"));
    EXPECT_FALSE(matches("zones/*/temperature", "zones/1/2/temperature"));
    EXPECT_TRUE(matches("zones/**/temperature", "zones/1/2/temperature"));
    EXPECT_TRUE(matches("**", "a/b"));
    EXPECT_TRUE(matches("*", "ab"));
    EXPECT_FALSE(matches("*", "a/b"));
    EXPECT_TRUE(matches("a*", "a"));
    EXPECT_TRUE(matches("", ""));
    EXPECT_FALSE(matches("", "a"));
    EXPECT_FALSE(matches("a", "b"));
    EXPECT_TRUE(matches("*b*", "abc"));
}

TEST(pattern, takes_no_time_that_explodes) {
    std::string pattern;
    for (int count = 0; count < 50; ++count) {
        pattern += "*a";
    }
    EXPECT_FALSE(matches(pattern + "b", std::string(2000, 'a')));
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
