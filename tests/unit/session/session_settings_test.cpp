// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/session/session_settings.hpp>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

TEST(session_settings, have_these_default_values) {
    session_settings const settings;

    EXPECT_EQ(settings.get_first_retry(), milliseconds{250});
    EXPECT_EQ(settings.get_longest_retry(), milliseconds{10'000});
    EXPECT_EQ(settings.get_ping_interval(), milliseconds{2'000});
    EXPECT_EQ(settings.get_unanswered_pings(), 2);
    EXPECT_FALSE(settings.handlers_wait_for_dispatch());
    EXPECT_EQ(settings.get_probe_interval(), milliseconds{30'000});
    EXPECT_EQ(settings.get_delivery_threads(), 4);
}

TEST(session_settings, return_what_was_set) {
    session_settings settings;

    settings.set_retry(milliseconds{1}, hours{24})
        .set_ping(milliseconds{1}, 1)
        .set_handlers_wait_for_dispatch(true)
        .set_probe_interval(milliseconds{100})
        .set_delivery_threads(1'024);

    EXPECT_EQ(settings.get_first_retry(), milliseconds{1});
    EXPECT_EQ(settings.get_longest_retry(), hours{24});
    EXPECT_EQ(settings.get_ping_interval(), milliseconds{1});
    EXPECT_EQ(settings.get_unanswered_pings(), 1);
    EXPECT_TRUE(settings.handlers_wait_for_dispatch());
    EXPECT_EQ(settings.get_probe_interval(), milliseconds{100});
    EXPECT_EQ(settings.get_delivery_threads(), 1'024);
}

TEST(session_settings, refuse_what_is_out_of_range_and_stay_as_they_were) {
    session_settings settings;
    auto const too_long = milliseconds{hours{24}} + milliseconds{1};

    EXPECT_THROW(settings.set_retry(milliseconds{0}, hours{1}), std::invalid_argument);
    EXPECT_THROW(settings.set_retry(hours{1}, too_long), std::invalid_argument);
    EXPECT_THROW(settings.set_retry(milliseconds{2}, milliseconds{1}), std::invalid_argument);
    EXPECT_THROW(settings.set_ping(milliseconds{0}, 1), std::invalid_argument);
    EXPECT_THROW(settings.set_ping(too_long, 1), std::invalid_argument);
    EXPECT_THROW(settings.set_ping(milliseconds{1}, 0), std::invalid_argument);
    EXPECT_THROW(settings.set_probe_interval(milliseconds{99}), std::invalid_argument);
    EXPECT_THROW(settings.set_probe_interval(too_long), std::invalid_argument);
    EXPECT_THROW(settings.set_delivery_threads(0), std::invalid_argument);
    EXPECT_THROW(settings.set_delivery_threads(1'025), std::invalid_argument);

    EXPECT_EQ(settings.get_first_retry(), milliseconds{250});
    EXPECT_EQ(settings.get_ping_interval(), milliseconds{2'000});
}

TEST(session_settings, are_copied_like_values) {
    session_settings original;
    auto const copy = original;

    original.set_handlers_wait_for_dispatch(true);

    EXPECT_FALSE(copy.handlers_wait_for_dispatch());
}

} // namespace

} // namespace arvenhold::corvel::hub
