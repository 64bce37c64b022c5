// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/path_pattern.hpp"
#include "support/case_name.hpp"
#include <hub/session/path_pattern.hpp>

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

struct pattern_case {
    char const* name;
    char const* pattern;
    char const* path;
    bool matches;
};

class matching : public testing::TestWithParam<pattern_case> {};

TEST_P(matching, follows_the_wildcards) {
    EXPECT_EQ(matches_pattern(GetParam().path, GetParam().pattern), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    path_pattern,
    matching,
    testing::Values(
        pattern_case{"itself", "pump/speed", "pump/speed", true},
        pattern_case{"not_another_path", "pump/speed", "pump/state", false},
        pattern_case{"not_a_longer_path", "pump/speed", "pump/speed/wanted", false},
        pattern_case{"not_a_shorter_path", "pump/speed", "pump", false},
        pattern_case{"nothing", "", "", true},
        pattern_case{"nothing_is_not_something", "", "pump", false},
        pattern_case{"one_level", "pump/*", "pump/speed", true},
        pattern_case{"an_empty_level", "pump/*", "pump/", true},
        pattern_case{"not_two_levels", "pump/*", "pump/speed/wanted", false},
        pattern_case{"a_level_in_the_middle", "*/speed", "pump/speed", true},
        pattern_case{"a_part_of_a_level", "pump/s*d", "pump/speed", true},
        pattern_case{"two_parts_of_a_level", "*_*_c", "a_b_c_c", true},
        pattern_case{"any_levels", "pump/**", "pump/speed/wanted", true},
        pattern_case{"everything", "**", "pump/speed/wanted", true},
        pattern_case{"everything_of_nothing", "**", "", true},
        pattern_case{"any_levels_before_a_name", "**/wanted", "pump/speed/wanted", true},
        pattern_case{"any_levels_between", "a/**/z", "a/b/c/z", true},
        pattern_case{"not_without_the_second_separator", "a/**/z", "a/z", false},
        pattern_case{"one_level_after_any", "**/*d", "a/b/speed", true},
        pattern_case{"one_level_retried_after_any", "**a*c", "ab/abc", true},
        pattern_case{"not_if_the_end_differs", "**/*d", "a/b/speeds", false},
        pattern_case{"three_asterisks", "***", "a/b", true}),
    case_name);

TEST(path_pattern, takes_no_exponential_time) {
    std::string pattern;
    for (int i = 0; i < 50; ++i) {
        pattern += "*a";
    }

    EXPECT_FALSE(matches_pattern(std::string(2'000, 'a'), pattern + "b"));
}

TEST(path_pattern, is_literal_without_a_wildcard) {
    EXPECT_TRUE(path_pattern{"pump/speed"}.is_literal());
    EXPECT_FALSE(path_pattern{"pump/*"}.is_literal());
}

} // namespace

} // namespace arvenhold::corvel::hub
