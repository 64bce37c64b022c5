// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "connect_attempt.hpp"
#include "dev_hub/child_process.hpp"
#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/nats_server.hpp"
#include "dev_hub/port_candidate.hpp"
#include "support/await.hpp"
#include "support/free_port.hpp"
#include "support/raw_peer.hpp"
#include "support/thrown_message.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub::dev {
namespace {

std::string get_port(nats_server const& server) {
    return server.get_url().substr(std::string{"nats://127.0.0.1:"}.size());
}

class nats_server_test : public testing::Test {
protected:
    event_log log{nullptr};
    nats_server server{{}, log};
};

TEST_F(nats_server_test, takes_the_given_settings) {
    nats_server_options options;
    options.token = "given";
    options.max_payload = 2048;
    nats_server const other{options, log};
    auto const client = try_to_connect(other.get_url(), "given");

    EXPECT_EQ(natsConnection_GetMaxPayload(client.connection.get()), 2048);
}

TEST_F(nats_server_test, says_that_a_given_port_is_taken) {
    auto const port = get_port(server);
    nats_server_options options;
    options.port = static_cast<std::uint16_t>(std::stoi(port));

    auto const message = thrown_message<dev_hub_failure>([&] {
        nats_server const other{options, log};
    });

    EXPECT_EQ(message, "nats-server cannot use port " + port + ": another program listens there");
}

TEST_F(nats_server_test, keeps_its_port_while_it_is_down) {
    auto const port = server.get_port();
    server.stop();
    EXPECT_TRUE(port_claim{port}.is_refused());

    server.start();

    EXPECT_EQ(server.get_port(), port);
}

TEST_F(nats_server_test, leaves_its_port_when_it_ends) {
    auto other = std::make_unique<nats_server>(nats_server_options{}, log);
    auto const port = other->get_port();

    other.reset();

    EXPECT_FALSE(port_claim{port}.is_refused());
}

TEST_F(nats_server_test, names_the_package_when_the_program_is_missing) {
    nats_server_options options;
    options.executable = "no-such-program-anywhere";

    EXPECT_EQ(
        thrown_message<dev_hub_failure>([&] {
            nats_server const other{options, log};
        }),
        "no-such-program-anywhere was not found; the Debian package nats-server has it: apt-get "
        "install nats-server");
}

TEST_F(nats_server_test, says_what_the_program_says_when_it_does_not_start) {
    nats_server_options options;
    options.token = "\"";

    EXPECT_THAT(
        thrown_message<dev_hub_failure>([&] {
            nats_server const other{options, log};
        }),
        testing::StartsWith("nats-server did not start; it says:\nnats-server: "));
}

TEST_F(nats_server_test, leaves_nobody_on_its_port_when_stopped) {
    server.stop();

    EXPECT_EQ(try_to_connect(server.get_url(), server.get_token()).status, NATS_NO_SERVER);
    EXPECT_FALSE(server.is_running());
    EXPECT_EQ(server.get_pid(), -1);
}

TEST_F(nats_server_test, does_not_run_when_killed) {
    server.kill();

    EXPECT_FALSE(server.is_running());
}

TEST_F(nats_server_test, is_another_process_after_a_restart) {
    auto const pid = server.get_pid();

    server.restart();

    EXPECT_TRUE(server.is_running());
    EXPECT_NE(server.get_pid(), pid);
    EXPECT_EQ(try_to_connect(server.get_url(), server.get_token()).status, NATS_OK);
}

TEST_F(nats_server_test, stays_the_same_process_when_started_twice) {
    auto const pid = server.get_pid();

    server.start();

    EXPECT_EQ(server.get_pid(), pid);
}

TEST_F(nats_server_test, can_be_stopped_while_frozen) {
    server.freeze();
    auto const start = std::chrono::steady_clock::now();

    server.stop();

    // By itself, not by force, which follows after two seconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{2});
    EXPECT_FALSE(server.is_running());
}

TEST_F(nats_server_test, drops_a_client_that_does_not_answer_in_the_given_interval) {
    nats_server_options options;
    options.ping_interval = std::chrono::seconds{1};
    nats_server const other{options, log};
    // The shell is a client that sends what a client begins with, and then only listens.
    child_process const silent{
        "/bin/bash",
        {"-c",
         "exec 3<>/dev/tcp/127.0.0.1/" + get_port(other) + R"(; echo 'CONNECT {"auth_token":")"
             + other.get_token() + R"(","verbose":false}' >&3; exec cat <&3)"}};

    EXPECT_TRUE(silent.wait_until_output_contains("-ERR 'Stale Connection'", patience));
    EXPECT_TRUE(silent.wait_until_ended(patience));
}

TEST(nats_server_in_a_cluster, passes_messages_on_to_the_other_server) {
    event_log log{nullptr};
    nats_server_options options;
    options.token = "common";
    options.cluster_ports = {find_free_port(), find_free_port()};
    nats_server const first{options, log};
    std::swap(options.cluster_ports.front(), options.cluster_ports.back());
    nats_server const second{options, log};
    raw_peer listener{first.get_url(), "common"};
    raw_peer speaker{second.get_url(), "common"};
    auto inbox = listener.listen("greeting");

    // The servers get to know each other in the background.
    EXPECT_TRUE(await([&] {
        speaker.publish("greeting", "hello");
        return inbox.waiting() > 0;
    }));
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
