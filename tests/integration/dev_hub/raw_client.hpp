// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A plain NATS client that plays provider or consumer towards the registry, step by step.

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "dev_hub/nats_handles.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

using wire_bytes = std::vector<std::uint8_t>;

/// Long enough for everything that happens at all, on a slow machine under a sanitizer.
constexpr std::chrono::seconds time_limit{10};

struct answer {
    natsStatus status;
    wire_bytes bytes;
};

/// Messages on one subject, taken one by one. Must not outlive its client.
class listener {
public:
    listener(natsConnection* connection, natsSubscription* subscription);

    /// The next message; nothing if none comes within the limit.
    [[nodiscard]] std::optional<wire_bytes> take(std::chrono::milliseconds limit = time_limit);

    /// Waits for the next request and answers it; whether one came.
    [[nodiscard]] bool answer_next(wire_bytes const& bytes);

private:
    natsConnection* m_connection;
    natsSubscription* m_subscription;
};

class raw_client {
public:
    explicit raw_client(
        nats_server const& server,
        std::chrono::milliseconds reconnect_wait = std::chrono::milliseconds{20});

    raw_client(std::string const& url, std::string const& token);

    raw_client(raw_client const&) = delete;
    raw_client(raw_client&&) = default;
    raw_client& operator=(raw_client const&) = delete;
    raw_client& operator=(raw_client&&) = delete;

    ~raw_client();

    [[nodiscard]] natsConnection* get_connection() const;

    /// Listens from now on: the server knows it when this returns.
    [[nodiscard]] listener listen(std::string const& subject);

    void publish(std::string const& subject, wire_bytes const& bytes);

    [[nodiscard]] answer request(
        std::string const& subject,
        wire_bytes const& bytes,
        std::chrono::milliseconds limit = time_limit);

    /// Leaves the server, which then knows of no listener any more.
    void close();

private:
    raw_client(
        std::string const& url, std::string const& token, std::chrono::milliseconds reconnect_wait);

    nats_connection m_connection;
    std::vector<nats_subscription> m_subscriptions; // destroyed before the connection
};

/// Why a client is not admitted; NATS_OK if it is.
[[nodiscard]] natsStatus try_to_connect(std::string const& url, std::string const& token);

} // namespace arvenhold::corvel::hub::dev
