// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/message_exchange.hpp"

#include <gmock/gmock.h>

#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {
namespace {

using testing::IsEmpty;

constexpr std::size_t max_pending = 1000;

exchange_settings make_settings() {
    exchange_settings settings;
    settings.token = "secret";
    settings.port = 4222;
    settings.max_pending = max_pending;
    return settings;
}

/// Two clients that are admitted, and whose output so far was sent.
class message_exchange_test : public testing::Test {
protected:
    message_exchange_test() {
        for (auto* const client : {&speaker, &listener}) {
            client->receive("CONNECT {\"auth_token\":\"secret\",\"verbose\":false}\r\n");
            client->drop_output(client->get_output().size());
        }
    }

    message_exchange exchange{make_settings()};
    exchange_client speaker{exchange};
    exchange_client listener{exchange};
};

TEST_F(message_exchange_test, greets_with_what_clients_must_know) {
    exchange_client const newcomer{exchange};

    EXPECT_EQ(
        newcomer.get_output(),
        "INFO {\"server_id\":\"corvel-hub-testkit\",\"server_name\":\"corvel-hub-testkit\","
        "\"version\":\"0.0.0\",\"proto\":1,\"host\":\"127.0.0.1\",\"port\":4222,\"headers\":true,"
        "\"auth_required\":true,\"max_payload\":8388608}\r\n");
    EXPECT_FALSE(newcomer.is_admitted());
}

TEST_F(message_exchange_test, keeps_output_that_was_not_sent) {
    listener.receive("SUB a 1\r\n");
    speaker.receive("PUB a 2\r\nhi\r\n");

    listener.drop_output(6);

    EXPECT_EQ(listener.get_output(), "1 2\r\nhi\r\n");
}

TEST_F(message_exchange_test, sends_everything_in_order_to_a_slow_reader) {
    listener.receive("SUB a 1\r\n");
    std::string published;
    std::string read;

    for (auto count = 100; count > 0; --count) {
        auto const text = std::to_string(count);
        auto const message = std::to_string(text.size()) + "\r\n" + text + "\r\n";
        speaker.receive("PUB a " + message);
        published += "MSG a 1 " + message;
        auto const piece = listener.get_output().substr(0, 11);
        read += piece;
        listener.drop_output(piece.size());
    }

    ASSERT_FALSE(listener.has_ended());
    EXPECT_EQ(read + std::string{listener.get_output()}, published);
}

TEST_F(message_exchange_test, moves_no_more_bytes_than_it_sends) {
    listener.receive("SUB a 1\r\n");
    speaker.receive("PUB a 900\r\n" + std::string(900, 'x') + "\r\n");
    auto const size = listener.get_output().size();

    std::size_t moved = 0;
    while (!listener.get_output().empty()) {
        auto const* const next = listener.get_output().substr(1).data();
        listener.drop_output(1);
        moved += listener.get_output().data() == next ? 0 : listener.get_output().size();
    }

    EXPECT_LE(moved, size);
}

TEST_F(message_exchange_test, delivers_to_a_client_as_long_as_it_is_there) {
    std::optional<exchange_client> guest;
    guest.emplace(exchange).receive("CONNECT {\"auth_token\":\"secret\"}\r\nSUB a 1\r\n");
    listener.receive("SUB a 1\r\n");

    guest.reset();
    speaker.receive("PUB a 0\r\n\r\n");

    EXPECT_EQ(listener.get_output(), "MSG a 1 0\r\n\r\n");
}

TEST_F(message_exchange_test, disconnects_a_client_that_does_not_read) {
    listener.receive("SUB a 1\r\nSUB > 2\r\n");
    auto const message = "PUB a 400\r\n" + std::string(400, 'x') + "\r\n";

    speaker.receive(message);
    EXPECT_FALSE(listener.has_ended());
    speaker.receive(message);

    EXPECT_TRUE(listener.has_ended());
    EXPECT_THAT(listener.get_output(), IsEmpty());
    EXPECT_FALSE(speaker.has_ended());
}

TEST_F(message_exchange_test, delivers_nothing_to_a_client_that_has_ended) {
    listener.receive("SUB a 1\r\nHELLO\r\nSUB b 2\r\n");
    EXPECT_TRUE(listener.has_ended());

    speaker.receive("PUB a 0\r\n\r\nPUB b 0\r\n\r\n");

    EXPECT_EQ(listener.get_output(), "-ERR 'Unknown Protocol Operation'\r\n");
}

} // namespace
} // namespace arvenhold::corvel::hub::dev
