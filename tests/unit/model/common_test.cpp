// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/common.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <type_traits>
#include <variant>

namespace arvenhold::corvel::hub {

namespace {

template <class Enumeration>
std::uint32_t number_of(Enumeration enumerator) {
    static_assert(std::is_same_v<std::underlying_type_t<Enumeration>, std::uint32_t>);
    return static_cast<std::uint32_t>(enumerator);
}

TEST(common_types, number_the_alternatives_of_a_value_in_a_fixed_order) {
    using std::chrono::nanoseconds;
    using time_point = std::chrono::time_point<std::chrono::system_clock, nanoseconds>;

    EXPECT_EQ(std::variant_size_v<variable_value>, 6);
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<0, variable_value>, bool>));
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<1, variable_value>, double>));
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<2, variable_value>, std::int64_t>));
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<3, variable_value>, std::string>));
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<4, variable_value>, time_point>));
    EXPECT_TRUE((std::is_same_v<std::variant_alternative_t<5, variable_value>, nanoseconds>));
}

TEST(common_types, have_the_widths_of_the_wire) {
    EXPECT_TRUE((std::is_same_v<variable_id, std::uint32_t>));
    EXPECT_TRUE((std::is_same_v<definition_fingerprint, std::uint64_t>));
    EXPECT_TRUE((std::is_same_v<modification_tracker, std::unordered_set<unsigned int>>));
}

TEST(common_types, number_the_permissions) {
    EXPECT_EQ(number_of(variable_permissions::read_write), 0);
    EXPECT_EQ(number_of(variable_permissions::read_only), 1);
}

TEST(common_types, number_the_qualities_as_they_travel) {
    EXPECT_EQ(number_of(variable_quality::bad), 0);
    EXPECT_EQ(number_of(variable_quality::uncertain), 64);
    EXPECT_EQ(number_of(variable_quality::uncertain_last_usable_value), 67);
    EXPECT_EQ(number_of(variable_quality::uncertain_initial_value), 68);
    EXPECT_EQ(number_of(variable_quality::good), 192);
}

TEST(common_types, number_the_events_and_states_of_a_connection) {
    EXPECT_EQ(number_of(provider_connection_event::definition_updated), 0);
    EXPECT_EQ(number_of(provider_connection_event::provider_lost), 1);
    EXPECT_EQ(number_of(provider_connection_event::provider_returned), 2);
    EXPECT_EQ(number_of(provider_connection_state::disconnected), 0);
    EXPECT_EQ(number_of(provider_connection_state::connected), 1);
    EXPECT_EQ(number_of(provider_connection_state::provider_unavailable), 2);
    EXPECT_EQ(number_of(provider_connection_state::faulted), 3);
}

} // namespace

} // namespace arvenhold::corvel::hub
