// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/control.hpp"
#include "dev_hub/dev_hub.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::Contains;
using testing::Not;

using namespace std::chrono_literals;

class control_test : public testing::Test {
protected:
    dev_hub hub;
    std::uint16_t const port = hub.get_nats_server().get_port();
    std::optional<control_endpoint> endpoint{std::in_place, port, hub.get_faults()};
};

TEST_F(control_test, begins_the_fault_that_is_requested) {
    auto const answer = request_fault(port, {fault_kind::token_slow, 2min, 7s});

    EXPECT_EQ(answer, "the token endpoint answers after 7 s, for 2 min");
    EXPECT_EQ(hub.get_log().get_count(event_kind::fault_begun, "token-slow"), 1U);
}

TEST_F(control_test, answers_one_request_after_the_other) {
    request_fault(port, {fault_kind::token_refuse});

    EXPECT_EQ(
        request_fault(port, {fault_kind::token_down}),
        "the token endpoint refuses connections for 10 s");
}

TEST_F(control_test, passes_the_reason_on_when_a_fault_cannot_begin) {
    request_fault(port, {fault_kind::nats_down, 10min});
    nats_server_options options;
    options.port = port;
    nats_server const other{options, hub.get_log()};

    auto const message =
        thrown_message<dev_hub_failure>([&] { request_fault(port, {fault_kind::freeze}); });

    EXPECT_EQ(
        message,
        "nats-server cannot use port " + std::to_string(port) + ": another program listens there");
}

TEST_F(control_test, finds_no_hub_that_has_ended) {
    endpoint.reset();

    auto const message =
        thrown_message<dev_hub_failure>([&] { request_fault(port, {fault_kind::freeze}); });

    EXPECT_EQ(message, "no development hub runs with nats-server on port " + std::to_string(port));
    EXPECT_THAT(find_running_hubs(), Not(Contains(port)));
}

TEST_F(control_test, lists_a_hub_that_runs) {
    EXPECT_THAT(find_running_hubs(), Contains(port));
}

TEST_F(control_test, refuses_a_second_endpoint_of_the_same_name) {
    auto const message = thrown_message<dev_hub_failure>([&] {
        control_endpoint const second{port, hub.get_faults()};
    });

    EXPECT_EQ(message, "cannot open the control socket: Address already in use");
}

TEST(choose_hub, takes_the_only_one) {
    EXPECT_EQ(choose_hub({4222}), 4222);
}

TEST(choose_hub, fails_without_one) {
    EXPECT_EQ(
        thrown_message<dev_hub_failure>([] { static_cast<void>(choose_hub({})); }),
        "no development hub runs on this machine");
}

TEST(choose_hub, fails_with_several) {
    EXPECT_EQ(
        thrown_message<dev_hub_failure>([] {
            static_cast<void>(choose_hub({4222, 5222}));
        }),
        "several development hubs run on this machine; choose one with --nats-port: 4222, 5222");
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
