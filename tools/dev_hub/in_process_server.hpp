// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A small NATS server inside this process, for tests where no nats-server is installed.

#pragma once

#include "dev_hub/message_server.hpp"
#include "dev_hub/port_candidate.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::dev {

class event_log;

/// Speaks what the NATS client of this library needs: subscriptions with wildcards, requests and the
/// report that nobody listens, a maximum payload of 8 MiB. It has no TLS, cluster, permissions,
/// queue groups or published headers, and it sends no pings.
///
/// Bytes that it cannot decode end their connection. So does a client that does not read: as soon as
/// 64 MiB wait for it.
class in_process_server final : public message_server {
public:
    /// Starts the server on a free port, with a random token.
    ///
    /// @param log  Gets the server's events. Must outlive the server.
    ///
    /// @throws dev_hub_failure  There is no free port, no thread or no file descriptor. Nothing is
    ///                          left running.
    explicit in_process_server(event_log& log);

    in_process_server(in_process_server const&) = delete;
    in_process_server(in_process_server&&) = delete;
    in_process_server& operator=(in_process_server const&) = delete;
    in_process_server& operator=(in_process_server&&) = delete;

    ~in_process_server() override;

    [[nodiscard]] std::string get_url() const override;
    [[nodiscard]] std::string get_token() const override;

    void kill() override;
    void start() override;
    void freeze() override;
    void thaw() override;

private:
    class running_server;

    std::string const m_token;
    event_log& m_log;
    std::uint16_t m_port = 0; // fixed when the constructor returns
    std::optional<port_claim> m_claim;

    std::mutex m_mutex;                       // guards the server
    std::unique_ptr<running_server> m_server; // null while it is away

    void start_locked(std::uint16_t port);
};

} // namespace arvenhold::corvel::hub::dev
