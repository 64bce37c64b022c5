// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/near_names.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> const names{"boiler", "boiler_2", "oven", "pump/speed"};

TEST(near_names, finds_typing_errors) {
    EXPECT_THAT(find_near_names("boilr", names), ElementsAre("boiler"));
    EXPECT_THAT(find_near_names("obiler", names), ElementsAre("boiler"));
    EXPECT_THAT(find_near_names("boiller", names), ElementsAre("boiler"));
}

TEST(near_names, finds_other_case_and_parts) {
    EXPECT_THAT(find_near_names("OVEN", names), ElementsAre("oven"));
    EXPECT_THAT(find_near_names("speed", names), ElementsAre("pump/speed"));
}

TEST(near_names, finds_nothing_that_is_far) {
    EXPECT_THAT(find_near_names("turbine", names), IsEmpty());
    EXPECT_THAT(find_near_names("", names), IsEmpty());
}

TEST(near_names, returns_three_at_most) {
    EXPECT_EQ(find_near_names("a1", {"a2", "a3", "a4", "a5"}).size(), 3U);
}

TEST(near_names, asks) {
    EXPECT_EQ(ask_did_you_mean("boilr", names), "; did you mean \"boiler\"?");
    EXPECT_EQ(ask_did_you_mean("ab", {"aa", "ac"}), "; did you mean \"aa\" or \"ac\"?");
    EXPECT_EQ(
        ask_did_you_mean("ab", {"aa", "ac", "ad"}), "; did you mean \"aa\", \"ac\" or \"ad\"?");
    EXPECT_EQ(ask_did_you_mean("turbine", names), "");
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
