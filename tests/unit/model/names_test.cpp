// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/names.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub {

namespace {

TEST(name_of, a_quality_is_its_enumerator) {
    EXPECT_EQ(name_of(variable_quality::bad), "bad");
    EXPECT_EQ(name_of(variable_quality::uncertain), "uncertain");
    EXPECT_EQ(
        name_of(variable_quality::uncertain_last_usable_value), "uncertain_last_usable_value");
    EXPECT_EQ(name_of(variable_quality::uncertain_initial_value), "uncertain_initial_value");
    EXPECT_EQ(name_of(variable_quality::good), "good");
}

TEST(name_of, permissions_is_their_enumerator) {
    EXPECT_EQ(name_of(variable_permissions::read_write), "read_write");
    EXPECT_EQ(name_of(variable_permissions::read_only), "read_only");
}

TEST(name_of, a_state_of_a_connection_is_its_enumerator) {
    EXPECT_EQ(name_of(provider_connection_state::disconnected), "disconnected");
    EXPECT_EQ(name_of(provider_connection_state::connected), "connected");
    EXPECT_EQ(name_of(provider_connection_state::provider_unavailable), "provider_unavailable");
    EXPECT_EQ(name_of(provider_connection_state::faulted), "faulted");
}

TEST(name_of, an_event_of_a_connection_is_its_enumerator) {
    EXPECT_EQ(name_of(provider_connection_event::definition_updated), "definition_updated");
    EXPECT_EQ(name_of(provider_connection_event::provider_lost), "provider_lost");
    EXPECT_EQ(name_of(provider_connection_event::provider_returned), "provider_returned");
}

TEST(name_of, an_event_of_a_link_is_its_enumerator) {
    EXPECT_EQ(name_of(link_event::lost), "lost");
    EXPECT_EQ(name_of(link_event::restored), "restored");
    EXPECT_EQ(name_of(link_event::closed), "closed");
    EXPECT_EQ(name_of(link_event::messages_dropped), "messages_dropped");
}

TEST(name_of, a_severity_is_its_enumerator) {
    EXPECT_EQ(name_of(diagnostic_severity::information), "information");
    EXPECT_EQ(name_of(diagnostic_severity::warning), "warning");
    EXPECT_EQ(name_of(diagnostic_severity::error), "error");
}

TEST(name_of, a_number_without_an_enumerator_is_unknown) {
    EXPECT_EQ(name_of(variable_quality{1}), "unknown");
    EXPECT_EQ(name_of(variable_permissions{2}), "unknown");
    EXPECT_EQ(name_of(provider_connection_state{4}), "unknown");
    EXPECT_EQ(name_of(provider_connection_event{3}), "unknown");
    EXPECT_EQ(name_of(link_event{4}), "unknown");
    EXPECT_EQ(name_of(diagnostic_severity{9}), "unknown");
}

TEST(type_name_of, a_value_is_that_of_its_alternative) {
    EXPECT_EQ(type_name_of(true), "bool");
    EXPECT_EQ(type_name_of(1.5), "double");
    EXPECT_EQ(type_name_of(std::int64_t{1}), "int64");
    EXPECT_EQ(type_name_of(std::string{"text"}), "string");
    EXPECT_EQ(type_name_of(timestamp{}), "timestamp");
    EXPECT_EQ(type_name_of(std::chrono::nanoseconds{1}), "duration");
}

} // namespace

} // namespace arvenhold::corvel::hub
