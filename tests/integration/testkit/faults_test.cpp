// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "playing.hpp"

#include <hub/session/consumer_session.hpp>
#include <hub/session/provider_session.hpp>

#include <optional>

namespace arvenhold::corvel::hub::testkit {
namespace {

using testing::HasSubstr;

/// A program under test whose state shows the faults.
class faults : public oven_test {
protected:
    /// Waits until a session gives this reason.
    template <class Session>
    static void wait_for_reason(Session const& session, session_reason reason) {
        wait_until(
            std::string{"the reason "} + std::to_string(static_cast<int>(reason)),
            [&] { return session.get_status().reason == reason; },
            patience);
    }

    void start_pump() {
        pump.declare<double>("speed", 1.0);
        pump.start();
        ASSERT_TRUE(pump.wait_until_ready(patience));
    }

    provider_session pump{
        "pump",
        hub.get_access(),
        session_settings{}
            .set_retry(std::chrono::milliseconds{10}, std::chrono::milliseconds{100})
            .set_ping(std::chrono::milliseconds{200}, 1)};
};

INSTANTIATE_TEST_SUITE_P(with, faults, both_servers, server_name);

TEST_P(faults, take_the_server_away_and_bring_it_back_at_its_place) {
    start_pump();

    hub.begin_fault(fault::server_away);
    wait_for_reason(pump, session_reason::link_lost);

    hub.end_fault(fault::server_away);
    EXPECT_TRUE(pump.wait_until_ready(patience));
}

TEST_P(faults, freeze_the_server) {
    start_pump();

    hub.begin_fault(fault::server_frozen);
    wait_for_reason(pump, session_reason::link_lost);

    hub.end_fault(fault::server_frozen);
    EXPECT_TRUE(pump.wait_until_ready(patience));
}

TEST_P(faults, take_the_token_endpoint_away) {
    hub.begin_fault(fault::token_endpoint_away);
    pump.start();
    wait_for_reason(pump, session_reason::access_denied);

    hub.end_fault(fault::token_endpoint_away);
    EXPECT_TRUE(pump.wait_until_ready(patience));
}

TEST_P(faults, make_tokens_too_late) {
    hub.begin_fault(fault::tokens_late);
    consumer late{"late", true, nullptr, nullptr};
    EXPECT_THROW(connect(late, hub.get_access()), connection_failed);

    hub.end_fault(fault::tokens_late);
    EXPECT_NO_THROW(connect(late, hub.get_access()));
}

TEST_P(faults, refuse_tokens_to_programs_but_not_to_peers) {
    hub.begin_fault(fault::tokens_refused);
    pump.start();
    wait_for_reason(pump, session_reason::access_denied);
    oven.start();
    panel.attach("oven", patience);

    hub.end_fault(fault::tokens_refused);
    EXPECT_TRUE(pump.wait_until_ready(patience));
}

TEST_P(faults, refuse_tokens_to_programs_that_ask_for_access_later) {
    hub.begin_fault(fault::tokens_refused);

    consumer late{"late", true, nullptr, nullptr};
    EXPECT_THROW(connect(late, hub.get_access("late")), connection_failed);
}

TEST_P(faults, of_tokens_concern_a_connected_program_after_a_restart_of_the_server) {
    start_pump();
    hub.begin_fault(fault::tokens_refused);

    hub.restart_server();

    wait_for_reason(pump, session_reason::access_denied);
}

TEST_P(faults, silence_the_registry) {
    hub.begin_fault(fault::registry_silent);
    consumer_session watcher{"watcher", hub.get_access("watcher")};
    watcher.start();
    wait_for_reason(watcher, session_reason::registry_silent);

    hub.end_fault(fault::registry_silent);
    start_pump();
    EXPECT_TRUE(watcher.wait_until_ready(patience));
}

TEST_P(faults, reject_definitions) {
    hub.begin_fault(fault::definitions_rejected);
    pump.declare<double>("speed", 1.0);
    pump.start();
    wait_for_reason(pump, session_reason::definition_rejected);
    EXPECT_THAT(
        thrown_message<expectation_failed>([&] { oven.start(); }),
        HasSubstr("the scripted provider oven on the hub, with an accepted definition\n  seen: "));

    hub.end_fault(fault::definitions_rejected);
    EXPECT_TRUE(pump.wait_until_ready(patience));
    oven.start();
    EXPECT_NO_THROW(hub.wait_until_listed("oven", patience));
}

TEST_P(faults, begin_and_end_once) {
    start_pump();
    hub.begin_fault(fault::server_away);
    hub.begin_fault(fault::server_away);

    hub.end_fault(fault::server_away);
    hub.end_fault(fault::server_away);

    EXPECT_TRUE(pump.wait_until_ready(patience));
}

TEST_P(faults, end_all_together) {
    for (auto const each :
         {fault::server_frozen,
          fault::server_away,
          fault::token_endpoint_away,
          fault::tokens_late,
          fault::tokens_refused,
          fault::registry_silent,
          fault::definitions_rejected}) {
        hub.begin_fault(each);
    }

    hub.end_all_faults();

    start_pump();
}

TEST_P(faults, let_a_scripted_provider_return_with_what_it_holds_by_then) {
    oven.start();
    panel.attach("oven", patience);
    hub.begin_fault(fault::server_away);
    panel.wait_until_stale(patience);
    timestamp const noon{std::chrono::nanoseconds{1'700'000'000'123'456'789}};
    oven.holds("temperature", 90.0, variable_quality::uncertain, noon);

    hub.end_fault(fault::server_away);

    auto const shown = panel.wait_for_value("temperature", 90.0, patience);
    EXPECT_EQ(shown.quality, variable_quality::uncertain);
    EXPECT_EQ(shown.when, noon);
}

TEST_P(faults, let_a_scripted_provider_return_when_the_last_one_has_ended) {
    oven.start();
    hub.begin_fault(fault::definitions_rejected);
    hub.restart_server(); // the oven tries to return, and may not
    EXPECT_NO_THROW(hub.wait_until_gone("oven", patience));

    hub.end_fault(fault::definitions_rejected);

    EXPECT_NO_THROW(hub.wait_until_listed("oven", patience));
}

TEST_P(faults, bring_no_provider_back_that_has_vanished) {
    oven.start();
    oven.vanish();
    hub.wait_until_gone("oven", patience);

    hub.restart_server();
    scripted_provider other{hub, "other"};
    other.start();

    EXPECT_THAT(hub.get_providers(), testing::ElementsAre("other"));
}

} // namespace
} // namespace arvenhold::corvel::hub::testkit
