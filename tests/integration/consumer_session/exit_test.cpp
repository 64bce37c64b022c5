// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/child_process.hpp"
#include "exchange_with_session.hpp"

namespace arvenhold::corvel::hub {

namespace {

class sessions_at_exit : public exchange_with_session,
                         public testing::WithParamInterface<char const*> {};

TEST_P(sessions_at_exit, end_with_their_process) {
    dev::child_process const process{
        CORVEL_HUB_EXITING_PROCESS,
        {hub.get_nats_server().get_url(), hub.get_token_endpoint().get_url(), GetParam()}};

    ASSERT_TRUE(process.wait_until_ended(patience)) << process.get_output();

    EXPECT_EQ(process.get_exit_code(), 0) << process.get_output();
    EXPECT_THAT(process.get_output(), testing::HasSubstr("main ends\n"));
}

INSTANTIATE_TEST_SUITE_P(
    destroyed_by, sessions_at_exit, testing::Values("static", "handler"), [](auto const& tested) {
        return std::string{tested.param};
    });

} // namespace

} // namespace arvenhold::corvel::hub
