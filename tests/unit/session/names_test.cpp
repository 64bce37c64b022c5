// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/names.hpp>

#include <gtest/gtest.h>

namespace arvenhold::corvel::hub {

namespace {

TEST(name_of, a_session_state_is_its_enumerator) {
    EXPECT_EQ(name_of(session_state::connecting), "connecting");
    EXPECT_EQ(name_of(session_state::ready), "ready");
    EXPECT_EQ(name_of(session_state::degraded), "degraded");
    EXPECT_EQ(name_of(session_state::stopped), "stopped");
}

TEST(name_of, a_session_reason_is_its_enumerator) {
    EXPECT_EQ(name_of(session_reason::none), "none");
    EXPECT_EQ(name_of(session_reason::starting), "starting");
    EXPECT_EQ(name_of(session_reason::server_unreachable), "server_unreachable");
    EXPECT_EQ(name_of(session_reason::access_denied), "access_denied");
    EXPECT_EQ(name_of(session_reason::registry_silent), "registry_silent");
    EXPECT_EQ(name_of(session_reason::definition_rejected), "definition_rejected");
    EXPECT_EQ(name_of(session_reason::link_lost), "link_lost");
    EXPECT_EQ(name_of(session_reason::sending_failed), "sending_failed");
    EXPECT_EQ(name_of(session_reason::provider_missing), "provider_missing");
    EXPECT_EQ(name_of(session_reason::provider_silent), "provider_silent");
    EXPECT_EQ(name_of(session_reason::values_unreadable), "values_unreadable");
    EXPECT_EQ(name_of(session_reason::internal_failure), "internal_failure");
    EXPECT_EQ(name_of(session_reason::stop_requested), "stop_requested");
}

TEST(name_of, a_freshness_is_its_enumerator) {
    EXPECT_EQ(name_of(freshness::live), "live");
    EXPECT_EQ(name_of(freshness::stale), "stale");
    EXPECT_EQ(name_of(freshness::never_received), "never_received");
}

TEST(name_of, a_write_outcome_is_its_enumerator) {
    EXPECT_EQ(name_of(write_outcome::confirmed), "confirmed");
    EXPECT_EQ(name_of(write_outcome::refused), "refused");
    EXPECT_EQ(name_of(write_outcome::not_confirmed), "not_confirmed");
}

TEST(name_of, a_write_refusal_is_its_enumerator) {
    EXPECT_EQ(name_of(write_refusal::provider_not_live), "provider_not_live");
    EXPECT_EQ(name_of(write_refusal::unknown_path), "unknown_path");
    EXPECT_EQ(name_of(write_refusal::read_only), "read_only");
    EXPECT_EQ(name_of(write_refusal::wrong_type), "wrong_type");
    EXPECT_EQ(name_of(write_refusal::too_many_waiting), "too_many_waiting");
}

TEST(name_of, a_number_without_an_enumerator_is_unknown) {
    EXPECT_EQ(name_of(session_state{4}), "unknown");
    EXPECT_EQ(name_of(session_reason{13}), "unknown");
    EXPECT_EQ(name_of(freshness{3}), "unknown");
    EXPECT_EQ(name_of(write_outcome{3}), "unknown");
    EXPECT_EQ(name_of(write_refusal{5}), "unknown");
}

} // namespace

} // namespace arvenhold::corvel::hub
