// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/value_codec.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::nanoseconds;

TEST(data_type, is_the_wires_number_for_the_alternative) {
    EXPECT_EQ(static_cast<int>(data_type_of(true)), 1);
    EXPECT_EQ(static_cast<int>(data_type_of(nanoseconds{1})), 2);
    EXPECT_EQ(static_cast<int>(data_type_of(1.5)), 3);
    EXPECT_EQ(static_cast<int>(data_type_of(std::int64_t{1})), 4);
    EXPECT_EQ(static_cast<int>(data_type_of(std::string{"x"})), 5);
    EXPECT_EQ(static_cast<int>(data_type_of(timestamp{})), 6);
}

TEST(tag, of_a_written_value_equals_its_data_type) {
    EXPECT_EQ(static_cast<int>(tag_of(true)), 1);
    EXPECT_EQ(static_cast<int>(tag_of(nanoseconds{1})), 2);
    EXPECT_EQ(static_cast<int>(tag_of(1.5)), 3);
    EXPECT_EQ(static_cast<int>(tag_of(std::int64_t{1})), 4);
    EXPECT_EQ(static_cast<int>(tag_of(std::string{"x"})), 5);
    EXPECT_EQ(static_cast<int>(tag_of(timestamp{})), 6);
}

TEST(initial_value, is_zero_or_empty) {
    EXPECT_EQ(initial_value_of(VariableDataType{1}), variable_value{false});
    EXPECT_EQ(initial_value_of(VariableDataType{2}), variable_value{nanoseconds{0}});
    EXPECT_EQ(initial_value_of(VariableDataType{3}), variable_value{0.0});
    EXPECT_EQ(initial_value_of(VariableDataType{4}), variable_value{std::int64_t{0}});
    EXPECT_EQ(initial_value_of(VariableDataType{5}), variable_value{std::string{}});
}

TEST(initial_value, of_a_point_in_time_is_now) {
    timestamp const before = std::chrono::system_clock::now();
    auto const value = initial_value_of(VariableDataType{6});
    timestamp const after = std::chrono::system_clock::now();

    ASSERT_TRUE(value.has_value());
    EXPECT_GE(std::get<timestamp>(*value), before);
    EXPECT_LE(std::get<timestamp>(*value), after);
}

TEST(initial_value, does_not_exist_for_a_missing_or_unknown_type) {
    EXPECT_EQ(initial_value_of(VariableDataType{0}), std::nullopt);
    EXPECT_EQ(initial_value_of(VariableDataType{7}), std::nullopt);
    EXPECT_EQ(initial_value_of(VariableDataType{9}), std::nullopt);
    EXPECT_EQ(initial_value_of(VariableDataType{255}), std::nullopt);
}

} // namespace

} // namespace arvenhold::corvel::hub
