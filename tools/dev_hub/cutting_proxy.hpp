// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Sits between clients and a server as a router does, and can silently drop packets.

#pragma once

#include "dev_hub/file_descriptor.hpp"
#include "dev_hub/poll_thread.hpp"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

/// Forwards TCP connections on loopback to a server.
///
/// A connection to a server that is away is closed at once. A slow reader delays its own connection
/// alone.
///
/// @par Thread safety
/// All operations may be called from any thread.
class cutting_proxy {
public:
    /// @param server_port  The server's port on 127.0.0.1.
    /// @param port         The port on 127.0.0.1 for clients; 0 for a free one.
    ///
    /// @throws dev_hub_failure  The port cannot be opened, for example because it is taken.
    explicit cutting_proxy(std::uint16_t server_port, std::uint16_t port = 0);

    cutting_proxy(cutting_proxy const&) = delete;
    cutting_proxy& operator=(cutting_proxy const&) = delete;

    /// Closes everything.
    ~cutting_proxy();

    /// What clients connect to instead: "nats://127.0.0.1:" and the port.
    [[nodiscard]] std::string get_url() const;

    /// Drops every byte in both directions from now on. Connections stay open until one side closes
    /// its end, and new ones are accepted.
    void cut();

    /// Closes all connections, because each may have lost bytes, and forwards new ones.
    void repair();

private:
    class connection;

    std::uint16_t const m_server_port;
    file_descriptor const m_listener;

    std::mutex m_mutex; // guards everything below; the thread waits for the sockets without it
    bool m_cut = false;
    std::vector<std::unique_ptr<connection>> m_connections;

    poll_thread m_thread; // destroyed first

    // Forwards what is there.
    poll_round serve();

    void accept_connection_locked();
};

} // namespace arvenhold::corvel::hub::dev
