// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What clients see of a NATS server, whichever kind it is: nats-server decides what is right.

#include "connect_attempt.hpp"
#include "dev_hub/event_log.hpp"
#include "dev_hub/in_process_server.hpp"
#include "dev_hub/nats_server.hpp"
#include "line_client.hpp"
#include "support/case_name.hpp"
#include "support/raw_peer.hpp"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <tuple>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::Combine;
using testing::Values;

struct server_case {
    char const* name;
    std::unique_ptr<message_server> (*make)(event_log& log);
};

std::unique_ptr<message_server> make_nats_server(event_log& log) {
    return std::make_unique<nats_server>(nats_server_options{}, log);
}

std::unique_ptr<message_server> make_in_process_server(event_log& log) {
    return std::make_unique<in_process_server>(log);
}

auto const both_servers = Values(
    server_case{"nats_server", make_nats_server},
    server_case{"in_process", make_in_process_server});

class message_server_test : public testing::TestWithParam<server_case> {
protected:
    event_log log{nullptr};
    std::unique_ptr<message_server> const server = GetParam().make(log);
};

INSTANTIATE_TEST_SUITE_P(of_both_kinds, message_server_test, both_servers, case_name);

TEST_P(message_server_test, admits_holders_of_its_token) {
    EXPECT_EQ(try_to_connect(server->get_url(), server->get_token()).status, NATS_OK);
}

TEST_P(message_server_test, refuses_holders_of_another_token) {
    EXPECT_EQ(try_to_connect(server->get_url(), "another").status, NATS_CONNECTION_AUTH_FAILED);
}

TEST_P(message_server_test, makes_up_a_random_token) {
    auto const other = GetParam().make(log);

    EXPECT_THAT(server->get_token(), testing::MatchesRegex("[0-9a-f]{64}"));
    EXPECT_NE(server->get_token(), other->get_token());
}

TEST_P(message_server_test, takes_payloads_of_eight_mebibytes) {
    auto const client = try_to_connect(server->get_url(), server->get_token());

    EXPECT_EQ(natsConnection_GetMaxPayload(client.connection.get()), 8'388'608);
}

TEST_P(message_server_test, ends_at_once_when_killed) {
    line_client client{server->get_url()};

    server->kill();

    EXPECT_EQ(client.receive_rest(), "");
    EXPECT_EQ(try_to_connect(server->get_url(), server->get_token()).status, NATS_NO_SERVER);
}

TEST_P(message_server_test, starts_again_on_the_same_port_with_the_same_token) {
    auto const url = server->get_url();
    server->kill();

    server->start();
    server->start();

    EXPECT_EQ(try_to_connect(url, server->get_token()).status, NATS_OK);
    EXPECT_EQ(log.get_count(event_kind::nats_server_started, url), 2U);
    EXPECT_EQ(log.get_count(event_kind::nats_server_ended, url), 1U);
}

TEST_P(message_server_test, answers_nobody_while_frozen_and_continues_when_thawed) {
    auto const client = try_to_connect(server->get_url(), server->get_token());

    server->freeze();
    auto const frozen = natsConnection_FlushTimeout(client.connection.get(), 100);
    server->thaw();
    auto const thawed = natsConnection_FlushTimeout(client.connection.get(), 10'000);

    EXPECT_EQ(frozen, NATS_TIMEOUT);
    EXPECT_EQ(thawed, NATS_OK);
    EXPECT_EQ(log.get_count(event_kind::nats_server_frozen), 1U);
    EXPECT_EQ(log.get_count(event_kind::nats_server_thawed), 1U);
}

TEST_P(message_server_test, does_nothing_while_it_is_away) {
    server->kill();

    server->kill();
    server->freeze();
    server->thaw();

    EXPECT_EQ(log.get_count(event_kind::nats_server_ended), 1U);
    EXPECT_EQ(log.get_count(event_kind::nats_server_frozen), 0U);
    EXPECT_EQ(log.get_count(event_kind::nats_server_thawed), 0U);
}

TEST_P(message_server_test, disconnects_a_client_that_sends_no_token) {
    line_client client{server->get_url()};

    EXPECT_EQ(client.receive_rest(), "-ERR 'Authentication Timeout'\r\n");
}

TEST_P(message_server_test, carries_large_payloads) {
    raw_peer speaker{server->get_url(), server->get_token()};
    raw_peer listener{server->get_url(), server->get_token()};
    auto inbox = listener.listen("large");
    std::string const payload(8'388'608, 'x');

    speaker.publish("large", payload);

    EXPECT_EQ(inbox.take().bytes, payload);
}

TEST_P(message_server_test, refuses_a_request_that_nobody_listens_to) {
    raw_peer peer{server->get_url(), server->get_token()};

    EXPECT_EQ(peer.request("nobody", "hello").status, NATS_NO_RESPONDERS);
}

// What a client sends, and what it gets.
struct dialogue {
    char const* name;
    std::string sent;
    std::string answer;
    std::string options = R"("verbose":false,"pedantic":false)"; // of CONNECT
};

using dialogue_on_server = std::tuple<server_case, dialogue>;

auto const dialogue_name = [](auto const& info) {
    return std::string{std::get<1>(info.param).name} + "_on_" + std::get<0>(info.param).name;
};

class client_of_a_server : public testing::TestWithParam<dialogue_on_server> {
protected:
    [[nodiscard]] std::string make_connect() const {
        return R"(CONNECT {"auth_token":")" + server->get_token() + R"(",)" + given.options
             + "}\r\n";
    }

    event_log log{nullptr};
    std::unique_ptr<message_server> const server = std::get<0>(GetParam()).make(log);
    dialogue const given = std::get<1>(GetParam());
    line_client client{server->get_url()};
};

class client_that_behaves : public client_of_a_server {};

TEST_P(client_that_behaves, is_answered) {
    client.send(make_connect() + given.sent + "PING\r\n");

    EXPECT_EQ(client.receive_through("PONG\r\n"), given.answer + "PONG\r\n");
}

constexpr auto quiet_with_absence =
    R"("verbose":false,"pedantic":false,"headers":true,"no_responders":true)";

INSTANTIATE_TEST_SUITE_P(
    in_every_way,
    client_that_behaves,
    Combine(
        both_servers,
        Values(
            dialogue{"delivery", "SUB a.b 1\r\nPUB a.b 2\r\nhi\r\n", "MSG a.b 1 2\r\nhi\r\n"},
            dialogue{"reply_subject", "SUB a 1\r\nPUB a r.s 0\r\n\r\n", "MSG a 1 r.s 0\r\n\r\n"},
            dialogue{"nobody", "SUB a.b 1\r\nPUB a.c 2\r\nhi\r\n", ""},
            dialogue{"star", "SUB a.*.c 1\r\nPUB a.b.c 0\r\n\r\n", "MSG a.b.c 1 0\r\n\r\n"},
            dialogue{"star_for_one_token", "SUB a.* 1\r\nPUB a.b.c 0\r\n\r\n", ""},
            dialogue{"tail", "SUB a.> 1\r\nPUB a.b.c 0\r\n\r\n", "MSG a.b.c 1 0\r\n\r\n"},
            dialogue{"tail_of_nothing", "SUB a.> 1\r\nPUB a 0\r\n\r\n", ""},
            dialogue{"empty_token", "SUB a.*.b 1\r\nPUB a..b 0\r\n\r\n", ""},
            dialogue{"lower_case", "sub a 1\r\npub a 2\r\nhi\r\n", "MSG a 1 2\r\nhi\r\n"},
            dialogue{"unsubscription", "SUB a 1\r\nUNSUB 1\r\nPUB a 0\r\n\r\n", ""},
            dialogue{
                "one_message_only",
                "SUB a 1\r\nUNSUB 1 1\r\nPUB a 0\r\n\r\nPUB a 0\r\n\r\n",
                "MSG a 1 0\r\n\r\n"},
            dialogue{
                "one_message_that_has_come",
                "SUB a 1\r\nPUB a 0\r\n\r\nUNSUB 1 1\r\nPUB a 0\r\n\r\n",
                "MSG a 1 0\r\n\r\n"},
            dialogue{"unknown_subscription", "UNSUB 7\r\n", ""},
            dialogue{
                "same_subscription_twice",
                "SUB a 1\r\nSUB a 1\r\nPUB a 0\r\n\r\n",
                "MSG a 1 0\r\n\r\n"},
            dialogue{"malformed_pattern", "SUB a..b 1\r\n", "-ERR 'Invalid Subject'\r\n"},
            dialogue{"tail_in_the_middle", "SUB a.>.b 1\r\n", "-ERR 'Invalid Subject'\r\n"},
            dialogue{
                "no_echo", "SUB a 1\r\nPUB a 0\r\n\r\n", "", R"("verbose":false,"echo":false)"},
            dialogue{
                "acknowledgement",
                "SUB a 1\r\nPUB a 0\r\n\r\nUNSUB 1\r\n",
                "+OK\r\n+OK\r\n+OK\r\nMSG a 1 0\r\n\r\n+OK\r\n",
                R"("verbose":true)"},
            dialogue{"pong", "PONG\r\n", ""},
            dialogue{
                "absence",
                "SUB inbox.* 3\r\nPUB a inbox.7 0\r\n\r\n",
                "HMSG inbox.7 3 16 16\r\nNATS/1.0 503\r\n\r\n\r\n",
                quiet_with_absence},
            dialogue{
                "absence_that_nobody_hears_of", "PUB a inbox.7 0\r\n\r\n", "", quiet_with_absence},
            dialogue{"absence_of_interest", "PUB a 0\r\n\r\n", "", quiet_with_absence},
            dialogue{"absence_unasked", "SUB inbox.* 3\r\nPUB a inbox.7 0\r\n\r\n", ""})),
    dialogue_name);

class client_that_misbehaves : public client_of_a_server {};

TEST_P(client_that_misbehaves, is_disconnected) {
    client.send(make_connect() + given.sent);

    EXPECT_EQ(client.receive_rest(), given.answer);
    EXPECT_EQ(try_to_connect(server->get_url(), server->get_token()).status, NATS_OK);
}

INSTANTIATE_TEST_SUITE_P(
    in_every_way,
    client_that_misbehaves,
    Combine(
        both_servers,
        Values(
            dialogue{"unknown_command", "HELLO\r\n", "-ERR 'Unknown Protocol Operation'\r\n"},
            dialogue{
                "payload_without_end",
                "PUB a 2\r\nhiXX\r\n",
                "-ERR 'Unknown Protocol Operation'\r\n"},
            dialogue{
                "payload_that_is_too_long",
                "PUB a 8388609\r\n",
                "-ERR 'Maximum Payload Violation'\r\n"},
            dialogue{"no_size", "PUB a\r\n", ""},
            dialogue{"no_id", "SUB a\r\n", ""},
            dialogue{
                "bytes", std::string{"\0\xff\x01\r\n", 5}, "-ERR 'Unknown Protocol Operation'\r\n"},
            dialogue{
                "long_line",
                "PUB " + std::string(5000, 'x'),
                "-ERR 'maximum control line exceeded'\r\n"},
            dialogue{"no_json", "", "", "nonsense"})),
    dialogue_name);

class stranger : public client_of_a_server {};

TEST_P(stranger, is_disconnected) {
    client.send(given.sent);

    EXPECT_EQ(client.receive_rest(), given.answer);
}

INSTANTIATE_TEST_SUITE_P(
    in_every_way,
    stranger,
    Combine(
        both_servers,
        Values(
            dialogue{"without_token", "CONNECT {}\r\n", "-ERR 'Authorization Violation'\r\n"},
            dialogue{
                "with_another_token",
                "CONNECT {\"auth_token\":\"x\"}\r\n",
                "-ERR 'Authorization Violation'\r\n"},
            dialogue{"that_publishes", "PUB a 0\r\n\r\n", "-ERR 'Authorization Violation'\r\n"},
            dialogue{"that_subscribes", "SUB a 1\r\n", "-ERR 'Authorization Violation'\r\n"})),
    dialogue_name);

} // namespace
} // namespace arvenhold::corvel::hub::dev
