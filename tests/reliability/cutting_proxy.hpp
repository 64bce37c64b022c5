// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Sits between clients and a server as a router does, and can silently drop packets.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// Forwards TCP connections from a free port on loopback to a server.
class cutting_proxy {
public:
    /// @param server_url  "nats://127.0.0.1:" and the port.
    explicit cutting_proxy(std::string const& server_url);

    cutting_proxy(cutting_proxy const&) = delete;
    cutting_proxy& operator=(cutting_proxy const&) = delete;

    /// Closes everything.
    ~cutting_proxy();

    /// What clients connect to instead.
    [[nodiscard]] std::string get_url() const;

    /// Drops every byte in both directions from now on. Connections stay open until one side closes
    /// its end, and new ones are accepted.
    void cut();

    /// Closes all connections, because each may have lost bytes, and forwards new ones.
    void repair();

private:
    class connection;

    std::uint16_t const m_server_port;
    int const m_listener;
    std::atomic<bool> m_cut{false};      // read by the thread for each chunk
    std::atomic<bool> m_repaired{false}; // a request to the thread, which clears it
    std::atomic<bool> m_ending{false};
    std::vector<std::unique_ptr<connection>> m_connections; // used by the thread alone
    std::thread m_thread;

    void run();
    void take_connection();
    void pass_on();
};

} // namespace arvenhold::corvel::hub::reliability
