// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "model/value_view.hpp"

#include <gtest/gtest.h>

#include <array>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

struct same_value {
    value_view view;
    variable_value value;
};

std::array<same_value, 6> same_values() {
    return {
        {{true, true},
         {1.5, 1.5},
         {std::int64_t{-42}, std::int64_t{-42}},
         {std::string_view{"hand"}, std::string{"hand"}},
         {timestamp{nanoseconds{7}}, timestamp{nanoseconds{7}}},
         {nanoseconds{9}, nanoseconds{9}}}};
}

TEST(value_view, has_the_index_of_its_value) {
    for (auto const& [view, value] : same_values()) {
        EXPECT_EQ(view.index(), value.index());
    }
}

TEST(value_view, is_copied_into_a_value) {
    for (auto const& [view, value] : same_values()) {
        EXPECT_EQ(owned(view), value);
    }
}

TEST(value_view, replaces_a_value_of_the_same_type) {
    std::array<variable_value, 6> values{
        false, 0.0, std::int64_t{}, std::string{"off"}, timestamp{}, nanoseconds{}};

    for (auto const& [view, value] : same_values()) {
        auto& replaced = values.at(view.index());
        assign(replaced, view);
        EXPECT_EQ(replaced, value);
    }
}

TEST(value_view, leaves_a_string_its_memory) {
    variable_value value{std::string(100, 'x')};
    auto const* const memory = std::get<std::string>(value).data();

    assign(value, value_view{"a string of more than a few characters"});

    EXPECT_EQ(std::get<std::string>(value), "a string of more than a few characters");
    EXPECT_EQ(std::get<std::string>(value).data(), memory);
}

} // namespace

} // namespace arvenhold::corvel::hub
