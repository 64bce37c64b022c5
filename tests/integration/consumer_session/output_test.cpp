// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace arvenhold::corvel::hub {

namespace {

TEST(standard_streams, stay_empty_while_a_program_receives_the_diagnostics_of_its_sessions) {
    dev::child_process const process{CORVEL_HUB_REPORTING_PROCESS, {}};

    ASSERT_TRUE(process.wait_until_ended(std::chrono::seconds{100})) << process.get_output();

    EXPECT_EQ(process.get_output(), "");
    EXPECT_EQ(process.get_exit_code(), 0);
}

} // namespace

} // namespace arvenhold::corvel::hub
