// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/subject_pattern.hpp"
#include "support/case_name.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub::dev {
namespace {

struct match_case {
    char const* name;
    char const* pattern;
    char const* subject;
    bool matches;
};

class subject_pattern : public testing::TestWithParam<match_case> {};

TEST_P(subject_pattern, stands_for_subjects) {
    EXPECT_EQ(matches_subject(GetParam().pattern, GetParam().subject), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(
    of_each_form,
    subject_pattern,
    testing::Values(
        match_case{"equal", "a.b.c", "a.b.c", true},
        match_case{"one_token", "a", "a", true},
        match_case{"other_token", "a.b", "a.c", false},
        match_case{"longer_subject", "a.b", "a.b.c", false},
        match_case{"shorter_subject", "a.b.c", "a.b", false},
        match_case{"beginning_of_a_token", "a.b", "a.bc", false},
        match_case{"star", "a.*.c", "a.b.c", true},
        match_case{"star_at_the_end", "a.*", "a.b", true},
        match_case{"star_for_two_tokens", "a.*", "a.b.c", false},
        match_case{"star_for_no_token", "a.*", "a", false},
        match_case{"stars_alone", "*.*", "a.b", true},
        match_case{"star_within_a_token", "a*", "ab", false},
        match_case{"tail", "a.>", "a.b.c", true},
        match_case{"tail_of_one_token", "a.>", "a.b", true},
        match_case{"tail_of_no_token", "a.>", "a", false},
        match_case{"tail_behind_another_token", "b.>", "a.b", false},
        match_case{"everything", ">", "a.b", true},
        match_case{"star_before_tail", "*.>", "a.b.c", true}),
    case_name);

struct validity_case {
    char const* name;
    char const* text;
    bool is_subject;
    bool is_pattern;
};

class subject_validity : public testing::TestWithParam<validity_case> {};

TEST_P(subject_validity, depends_on_the_tokens) {
    EXPECT_EQ(is_valid_subject(GetParam().text), GetParam().is_subject);
    EXPECT_EQ(is_valid_pattern(GetParam().text), GetParam().is_pattern);
}

INSTANTIATE_TEST_SUITE_P(
    of_each_form,
    subject_validity,
    testing::Values(
        validity_case{"plain", "a.b", true, true},
        validity_case{"empty", "", false, false},
        validity_case{"dot", ".", false, false},
        validity_case{"empty_first_token", ".a", false, false},
        validity_case{"empty_token", "a..b", false, false},
        validity_case{"empty_last_token", "a.", false, false},
        validity_case{"star", "a.*.b", true, true},
        validity_case{"tail", "a.>", true, true},
        validity_case{"tail_in_the_middle", "a.>.b", true, false},
        validity_case{"empty_token_behind_a_tail", "a.>.", false, false},
        validity_case{"empty_token_before_a_tail", "a..>", false, false}),
    case_name);

} // namespace
} // namespace arvenhold::corvel::hub::dev
