// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/identifier.hpp"

#include "support/case_name.hpp"

#include <gtest/gtest.h>

#include <string>

namespace arvenhold::corvel::hub {

namespace {

struct identifier_case {
    char const* name;
    char const* identifier;
    bool is_allowed;
};

class provider_identifier : public testing::TestWithParam<identifier_case> {};

TEST_P(provider_identifier, is_attached_to_only_if_it_can_be_in_a_subject) {
    EXPECT_EQ(can_be_in_subject(GetParam().identifier), GetParam().is_allowed);
}

INSTANTIATE_TEST_SUITE_P(
    every_kind,
    provider_identifier,
    testing::Values(
        identifier_case{"word", "oven-4_b", true},
        identifier_case{"words_with_dots", "hall.oven.4", true},
        identifier_case{
            "other_alphabet",
            "\xc3\xb6"
            "fen",
            true},
        identifier_case{"empty", "", false},
        identifier_case{"space", "oven 4", false},
        identifier_case{"line_end", "oven\n4", false},
        identifier_case{"control_character", "oven\x7f", false},
        identifier_case{"any_token", "oven.*", false},
        identifier_case{"all_tokens", "oven.>", false},
        identifier_case{"empty_token", "hall..oven", false},
        identifier_case{"empty_first_token", ".oven", false},
        identifier_case{"empty_last_token", "oven.", false}),
    case_name);

} // namespace

} // namespace arvenhold::corvel::hub
