// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/link_options.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;

TEST(link_options, let_the_session_repair_the_link) {
    auto const options = link_options(
        connect_options{}.set_reconnect_attempts(7).set_reconnect_buffer(1'000),
        session_settings{}.set_ping(milliseconds{300}, 4));

    EXPECT_EQ(options.get_reconnect_attempts(), 0);
    EXPECT_EQ(options.get_reconnect_buffer(), 0U);
    EXPECT_EQ(options.get_ping_interval(), milliseconds{300});
    EXPECT_EQ(options.get_unanswered_pings(), 4);
}

TEST(link_options, limit_sending_to_the_time_after_which_a_hanging_server_is_lost) {
    auto const options =
        link_options(connect_options{}, session_settings{}.set_ping(milliseconds{300}, 4));

    EXPECT_EQ(options.get_write_deadline(), milliseconds{1'500});
}

TEST(link_options, limit_sending_to_a_day_if_a_hanging_server_is_never_lost) {
    auto const options = link_options(
        connect_options{},
        session_settings{}.set_ping(std::chrono::hours{24}, std::numeric_limits<int>::max()));

    EXPECT_EQ(options.get_write_deadline(), std::chrono::hours{24});
}

TEST(link_options, keep_what_the_application_has_chosen_otherwise) {
    auto const options = link_options(
        connect_options{}.set_write_deadline(milliseconds{50}).set_client_name("shown"),
        session_settings{});

    EXPECT_EQ(options.get_write_deadline(), milliseconds{50});
    EXPECT_EQ(options.get_client_name(), "shown");
}

} // namespace

} // namespace arvenhold::corvel::hub
