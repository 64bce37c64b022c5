// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/event_log.hpp"

#include <gtest/gtest.h>

#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

TEST(event_log_test, keeps_the_latest_ten_thousand_events) {
    event_log log{nullptr};

    for (int number = 0; number <= 10'000; ++number) {
        log.record(event_kind::definition_received, std::to_string(number), {});
    }

    EXPECT_EQ(log.get_count(event_kind::definition_received), 10'000U);
    EXPECT_EQ(log.get_events().front().subject, "1");
    EXPECT_EQ(log.get_events().back().subject, "10000");
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
