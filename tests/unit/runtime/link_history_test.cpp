// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/link_history.hpp"

#include <gmock/gmock.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class link_history_test : public testing::Test {
protected:
    std::vector<link_event> events_after(link_reading const& now) {
        std::vector<link_event> events;
        for (auto const& report : history.update(now)) {
            events.push_back(report.event);
        }
        return events;
    }

    link_history history;
};

TEST_F(link_history_test, is_empty_while_nothing_happens) {
    EXPECT_THAT(events_after({}), IsEmpty());
    EXPECT_THAT(events_after({}), IsEmpty());
}

TEST_F(link_history_test, has_a_loss_and_a_return_once_each) {
    EXPECT_THAT(events_after({.is_connected = false}), ElementsAre(link_event::lost));
    EXPECT_THAT(events_after({.is_connected = false}), IsEmpty());
    EXPECT_THAT(events_after({.reconnects = 1}), ElementsAre(link_event::restored));
    EXPECT_THAT(events_after({.reconnects = 1}), IsEmpty());
}

TEST_F(link_history_test, has_both_when_nobody_looked_meanwhile) {
    EXPECT_THAT(
        events_after({.reconnects = 1}), ElementsAre(link_event::lost, link_event::restored));
    EXPECT_THAT(events_after({.reconnects = 1}), IsEmpty());
}

TEST_F(link_history_test, counts_several_losses_between_two_readings_as_one) {
    EXPECT_THAT(
        events_after({.reconnects = 3}), ElementsAre(link_event::lost, link_event::restored));
}

// An attempt that the server refuses counts as a reconnect, too.
TEST_F(link_history_test, ignores_attempts_that_the_server_has_refused) {
    EXPECT_THAT(events_after({.is_connected = false}), ElementsAre(link_event::lost));
    EXPECT_THAT(events_after({.is_connected = false, .reconnects = 1}), IsEmpty());
    EXPECT_THAT(
        events_after({.is_connected = true, .reconnects = 2}), ElementsAre(link_event::restored));
    EXPECT_THAT(events_after({.is_connected = true, .reconnects = 2}), IsEmpty());
}

TEST_F(link_history_test, ends_when_the_link_is_closed) {
    EXPECT_FALSE(history.is_closed());
    EXPECT_THAT(
        events_after({.is_connected = false, .is_closed = true}),
        ElementsAre(link_event::lost, link_event::closed));
    EXPECT_TRUE(history.is_closed());
    EXPECT_THAT(events_after({.reconnects = 1, .dropped_messages = 1}), IsEmpty());
}

TEST_F(link_history_test, has_no_second_loss_before_the_end) {
    EXPECT_THAT(events_after({.is_connected = false}), ElementsAre(link_event::lost));
    EXPECT_THAT(
        events_after({.is_connected = false, .is_closed = true}), ElementsAre(link_event::closed));
}

TEST_F(link_history_test, passes_on_how_many_messages_were_dropped) {
    std::vector<std::pair<link_event, std::uint64_t>> found;

    for (auto const& report : history.update({.is_connected = false, .dropped_messages = 7})) {
        found.emplace_back(report.event, report.dropped_messages);
    }

    EXPECT_THAT(
        found, ElementsAre(Pair(link_event::lost, 0U), Pair(link_event::messages_dropped, 7U)));
}

} // namespace

} // namespace arvenhold::corvel::hub
