// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The NATS server of the development hub: a real nats-server, run as a child on a loopback port.

#pragma once

#include "dev_hub/message_server.hpp"
#include "dev_hub/port_candidate.hpp"

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

class child_process;
class cutting_proxy;
class event_log;

struct nats_server_options {
    /// The program; a name is looked up as find_executable() says.
    std::string executable = "nats-server";

    /// The port on 127.0.0.1; 0 for a free one.
    std::uint16_t port = 0;

    /// The maximum payload in bytes.
    std::size_t max_payload = std::size_t{8} * 1024 * 1024;

    /// The token that admits clients; empty for a random one. Letters and digits.
    std::string token;

    /// The server pings an idle client at this interval, and disconnects it after two unanswered
    /// pings.
    std::chrono::seconds ping_interval{120};

    /// The ports on 127.0.0.1 at which the servers of a cluster find each other, this server's own
    /// first; none for a server on its own. The servers of a cluster must have the same token.
    std::vector<std::uint16_t> cluster_ports{};

    /// Further lines of the server's configuration, for example for TLS.
    std::string more_configuration{};

    /// Whether clients reach the server through a proxy on its port, which cut() needs.
    bool behind_proxy = false;
};

/// Why the program cannot be run, with the cure; nothing if it can.
///
/// @param executable  As in nats_server_options.
[[nodiscard]] std::optional<std::string> explain_missing_server(std::string const& executable);

/// A nats-server. Operations that change its state run one at a time.
class nats_server final : public message_server {
public:
    /// Starts the server and waits until it takes connections.
    ///
    /// @param log  Gets the server's events. Must outlive the server.
    ///
    /// @throws dev_hub_failure  nats-server is not installed, the given port is taken, or the
    ///                          server does not come up.
    nats_server(nats_server_options options, event_log& log);

    nats_server(nats_server const&) = delete;
    nats_server(nats_server&&) = delete;
    nats_server& operator=(nats_server const&) = delete;
    nats_server& operator=(nats_server&&) = delete;

    ~nats_server() override;

    [[nodiscard]] std::string get_url() const override;

    /// The same without the proxy, for who must not be cut off.
    [[nodiscard]] std::string get_direct_url() const;

    [[nodiscard]] std::uint16_t get_port() const;

    [[nodiscard]] std::string get_token() const override;

    /// Whether the process lives, frozen or not.
    [[nodiscard]] bool is_running() const;

    /// Whether the process has ended although nobody called stop() or kill().
    [[nodiscard]] bool has_crashed() const;

    /// The process, or -1 when it does not run.
    [[nodiscard]] pid_t get_pid() const;

    /// Requests the server to end, and kills it if it has not ended after two seconds. Does
    /// nothing when it does not run.
    void stop();

    void kill() override;
    void start() override; // after stop(), too

    /// kill() and start().
    void restart();

    void freeze() override;
    void thaw() override;

    /// Lets the connections of all clients look open, but carry nothing. Clients can connect, and
    /// get no answer. Does nothing when the server does not run.
    ///
    /// @throws dev_hub_failure  The server is not behind a proxy.
    void cut();

    /// Closes the connections of all clients after cut(), and lets new ones through.
    void repair();

private:
    void end_locked(int signal_number);
    void start_locked();
    [[nodiscard]] bool try_port_locked(std::uint16_t port);
    [[nodiscard]] bool try_proxy_locked(std::uint16_t port);

    nats_server_options const m_options;
    std::string const m_executable;
    event_log& m_log;

    // Fixed when the constructor returns; different behind a proxy.
    std::uint16_t m_port = 0;        // for clients
    std::uint16_t m_direct_port = 0; // of the process
    std::optional<port_claim> m_claim;
    std::optional<port_claim> m_direct_claim;

    mutable std::mutex m_mutex; // guards the process and its proxy
    std::unique_ptr<child_process> m_process;
    std::unique_ptr<cutting_proxy>
        m_proxy; // null without behind_proxy, or while the server is down
};

} // namespace arvenhold::corvel::hub::dev
