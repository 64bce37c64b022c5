// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Receives what others send on a hub. Sends nothing but subscriptions.

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {

struct hub_session_settings;
enum class hub_session_state : std::uint8_t;

struct traffic_message {
    std::string subject;
    std::string reply; ///< Subject for an answer; empty if none is wanted.
    std::string bytes;
};

class traffic_listener {
public:
    /// Connects and subscribes.
    ///
    /// @param most  How many messages may wait; further ones are dropped.
    ///
    /// @throws dev_hub_failure  The server does not admit the client.
    traffic_listener(
        hub_session_settings const& settings, std::string const& subject, std::size_t most);

    traffic_listener(traffic_listener const&) = delete;
    traffic_listener& operator=(traffic_listener const&) = delete;

    ~traffic_listener();

    /// Whether the server does not allow the subscription.
    [[nodiscard]] bool is_forbidden() const;

    [[nodiscard]] hub_session_state get_state() const;

    /// How often the link was restored so far.
    [[nodiscard]] std::uint64_t get_reconnect_count() const;

    /// How many messages were dropped so far.
    [[nodiscard]] std::uint64_t get_dropped() const;

    /// Waits for the next message.
    ///
    /// @return nothing when `deadline` has passed.
    [[nodiscard]] std::optional<traffic_message> wait_for_next(
        std::chrono::steady_clock::time_point deadline);

private:
    class impl;
    std::unique_ptr<impl> m_impl;
};

} // namespace arvenhold::corvel::hub::dev
