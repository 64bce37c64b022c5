// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/subjects.hpp"

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

TEST(subject, of_definition_announcements_by_a_provider) {
    EXPECT_EQ(definition_changed_subject("press-4"), "v1.loc.press-4.def.evt.changed");
}

TEST(subject, of_definition_announcements_by_the_registry) {
    EXPECT_EQ(
        registry_definition_changed_subject("press-4"),
        "v1.loc.registry.providers.press-4.def.evt.changed");
}

TEST(subject, of_requests_for_a_definition) {
    EXPECT_EQ(
        registry_definition_query_subject("press-4"),
        "v1.loc.registry.providers.press-4.def.qry.read");
}

TEST(subject, of_change_events) {
    EXPECT_EQ(variables_changed_subject("press-4"), "v1.loc.press-4.vars.evt.changed");
}

TEST(subject, of_read_requests) {
    EXPECT_EQ(variables_query_subject("press-4"), "v1.loc.press-4.vars.qry.read");
}

TEST(subject, of_write_commands) {
    EXPECT_EQ(variables_write_subject("press-4"), "v1.loc.press-4.vars.cmd.write");
}

TEST(subject, of_requests_for_the_provider_list) {
    EXPECT_EQ(providers_query_subject, "v1.loc.registry.providers.qry.read");
}

TEST(subject, of_provider_list_announcements) {
    EXPECT_EQ(providers_changed_subject, "v1.loc.registry.providers.evt.changed");
}

TEST(subject, of_registry_state_announcements) {
    EXPECT_EQ(registry_state_subject, "v1.loc.registry.state.evt.changed");
}

TEST(subject, gets_more_tokens_from_an_identifier_with_dots) {
    EXPECT_EQ(variables_query_subject("hall-2.press.4"), "v1.loc.hall-2.press.4.vars.qry.read");
    EXPECT_EQ(
        registry_definition_changed_subject("hall-2.press.4"),
        "v1.loc.registry.providers.hall-2.press.4.def.evt.changed");
}

TEST(subject, takes_an_identifier_as_it_is) {
    EXPECT_EQ(variables_write_subject(""), "v1.loc..vars.cmd.write");
    EXPECT_EQ(variables_write_subject("a b*>"), "v1.loc.a b*>.vars.cmd.write");
}

TEST(inbox_prefix, is_followed_by_the_identifier) {
    EXPECT_EQ(inbox_prefix("panel"), "_INBOX.panel");
}

TEST(scope, of_a_provider) {
    EXPECT_EQ(provider_scope, "hub.variables.provide");
}

TEST(scope, of_a_read_only_consumer) {
    EXPECT_EQ(read_only_consumer_scope, "hub.variables.readonly");
}

TEST(scope, of_a_consumer_that_writes) {
    EXPECT_EQ(read_write_consumer_scope, "hub.variables.readwrite");
}

} // namespace

} // namespace arvenhold::corvel::hub
