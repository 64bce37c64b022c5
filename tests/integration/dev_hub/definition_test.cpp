// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/definition.hpp"
#include "support/case_name.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace arvenhold::corvel::hub::dev {
namespace {

TEST(find_broken_rule, finds_none_in_a_good_definition_of_all_types) {
    definition const good{
        7,
        {{"boiler/a", 1, 1, 1},
         {"boiler/b", 2, 2, 2},
         {"boiler/c", 3, 3, 1},
         {"boiler/d", 4, 4, 1},
         {"boiler/e", 5, 5, 1},
         {"bo\xc3\xaeler", 6, 6, 0}}};

    EXPECT_EQ(find_broken_rule(good), std::nullopt);
}

TEST(find_broken_rule, finds_none_in_a_definition_without_variables) {
    EXPECT_EQ(find_broken_rule(definition{7, {}}), std::nullopt);
}

struct broken_case {
    char const* name;
    std::vector<variable_entry> variables;
    char const* expected;
};

class broken_definition : public testing::TestWithParam<broken_case> {};

TEST_P(broken_definition, is_found) {
    EXPECT_THAT(
        find_broken_rule(definition{7, GetParam().variables}),
        testing::Optional(std::string{GetParam().expected}));
}

INSTANTIATE_TEST_SUITE_P(
    every_rule,
    broken_definition,
    testing::Values(
        broken_case{"empty_path", {{"", 1, 1, 1}}, "variable 1: its path is empty"},
        broken_case{
            "space",
            {{"a b", 1, 1, 1}},
            "variable 1: its path contains a space or a control character"},
        broken_case{
            "tab",
            {{"a\tb", 1, 1, 1}},
            "variable 1: its path contains a space or a control character"},
        broken_case{
            "delete_character",
            {{"a\x7f", 1, 1, 1}},
            "variable 1: its path contains a space or a control character"},
        broken_case{
            "path_twice",
            {{"a", 1, 1, 1}, {"b", 2, 1, 1}, {"a", 3, 1, 1}},
            "variable 3: its path a occurs twice"},
        broken_case{
            "id_twice", {{"a", 1, 1, 1}, {"b", 1, 1, 1}}, "variable 1: its id occurs twice"},
        broken_case{"no_type", {{"a", 1, 0, 1}}, "variable 1: its data type 0 is unknown"},
        broken_case{"unknown_type", {{"a", 1, 7, 1}}, "variable 1: its data type 7 is unknown"}),
    case_name);

} // namespace
} // namespace arvenhold::corvel::hub::dev
