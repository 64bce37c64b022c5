// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The part of a NATS server that has no sockets: who may enter, who has subscribed to what, and who
// gets a message. Used by the server's thread alone.

#pragma once

#include "dev_hub/client_command.hpp"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::dev {

class exchange_client;

struct exchange_settings {
    /// The token that admits clients.
    std::string token;

    /// The port in the greeting of clients.
    std::uint16_t port = 0;

    /// The maximum payload in bytes.
    std::size_t max_payload = std::size_t{8} * 1024 * 1024;

    /// How many bytes may wait for a client that does not read, before it is disconnected.
    std::size_t max_pending = std::size_t{64} * 1024 * 1024;
};

/// Passes messages from client to client.
class message_exchange {
public:
    explicit message_exchange(exchange_settings settings);

    [[nodiscard]] exchange_settings const& get_settings() const;

    /// Delivers a message to all subscribers.
    ///
    /// @return how many subscriptions got it.
    std::size_t deliver(publish_command const& message, exchange_client const& sender);

private:
    friend class exchange_client;

    exchange_settings const m_settings;
    std::vector<exchange_client*> m_clients; // each one enters and leaves by itself
};

/// A client as its server sees it: bytes come in, bytes go out.
class exchange_client {
public:
    /// Enters the exchange, with the server's greeting as its first output.
    ///
    /// @param exchange  Must outlive the client.
    explicit exchange_client(message_exchange& exchange);

    exchange_client(exchange_client const&) = delete;
    exchange_client(exchange_client&&) = delete;
    exchange_client& operator=(exchange_client const&) = delete;
    exchange_client& operator=(exchange_client&&) = delete;

    /// Leaves the exchange.
    ~exchange_client();

    /// Executes the commands that are complete with these bytes.
    void receive(std::string_view bytes);

    /// What has to be sent.
    [[nodiscard]] std::string_view get_output() const;

    /// Drops output that has been sent.
    void drop_output(std::size_t size);

    /// Whether the client has shown the token.
    [[nodiscard]] bool is_admitted() const;

    /// Ends the client.
    ///
    /// @param reason  What it is sent between the quotes of an error message; empty for no message.
    void end(std::string_view reason);

    /// Whether the connection is to be closed, once the socket has taken what it can of the output. The
    /// client does nothing any more.
    [[nodiscard]] bool has_ended() const;

private:
    friend class message_exchange;

    struct subscription {
        std::string pattern;
        std::string id;
        std::size_t delivered = 0;
        std::size_t most = 0; // 0 for any number

        [[nodiscard]] bool is_complete() const;
    };

    message_exchange& m_exchange;
    command_decoder m_decoder;
    std::string m_output;
    std::size_t m_sent = 0; // of m_output; at most half of it
    bool m_admitted = false;
    bool m_ended = false;

    // The client's own wishes.
    bool m_verbose = false;          // every command is acknowledged
    bool m_echo = true;              // it gets its own messages
    bool m_hears_of_absence = false; // of subscribers for its requests

    std::vector<subscription> m_subscriptions;

    void execute_if_admitted(client_command const& command);
    void execute(connect_command const& command);
    void execute(publish_command const& command);
    void execute(subscribe_command const& command);
    void execute(unsubscribe_command const& command);
    void execute(ping_command const& command);
    void execute(pong_command const& command);
    void execute(malformed_command const& command);

    std::size_t take(publish_command const& message);
    void report_absence(std::string_view reply);
    void acknowledge();
    void report_error(std::string_view reason);
    void send(std::initializer_list<std::string_view> parts);
    std::vector<subscription>::iterator find(std::string_view id);
};

} // namespace arvenhold::corvel::hub::dev
