// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/cutting_proxy.hpp"

#include "dev_hub/dev_hub_failure.hpp"
#include "dev_hub/loopback_socket.hpp"

#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <utility>

namespace arvenhold::corvel::hub::dev {

namespace {

constexpr int nobody = -1; // a file number that is never readable

constexpr std::size_t piece_size = 65'536; // bytes that are forwarded at once

// One way of a connection. At most one piece waits for its reader.
class direction {
public:
    direction(int from, int to)
        : m_from{from}
        , m_to{to} {
        send_at_once(to);
    }

    // Whether the connection can go on.
    bool pass_on(bool swallow) {
        if (swallow) {
            m_waiting.clear();
        }
        return m_waiting.empty() ? receive(swallow) : send();
    }

    [[nodiscard]] bool has_ended() const {
        return m_ended;
    }

    // What has to happen at which socket before pass_on() is worth a call.
    [[nodiscard]] pollfd get_watched() const {
        if (m_waiting.empty()) {
            return {.fd = m_ended ? nobody : m_from, .events = POLLIN, .revents = 0};
        }
        return {.fd = m_to, .events = POLLOUT, .revents = 0};
    }

private:
    int const m_from;
    int const m_to;
    std::string m_waiting;
    bool m_ended = false;

    bool receive(bool swallow) {
        if (m_ended || m_from == nobody) {
            return true;
        }
        std::array<char, piece_size> piece; // NOLINT(*-member-init): filled by the kernel
        auto const count = ::recv(m_from, piece.data(), piece.size(), MSG_DONTWAIT);
        if (count < 0) {
            return would_block();
        }
        if (count == 0) {
            m_ended = true;
            ::shutdown(m_to, SHUT_WR);
        } else if (!swallow) {
            m_waiting.assign(piece.data(), static_cast<std::size_t>(count));
            return send();
        }
        return true;
    }

    bool send() {
        auto const count =
            ::send(m_to, m_waiting.data(), m_waiting.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count < 0) {
            return would_block();
        }
        m_waiting.erase(0, static_cast<std::size_t>(count));
        return true;
    }
};

} // namespace

// Two sockets, one to each side.
class cutting_proxy::connection {
public:
    // If the server cannot be reached, the next pass_on() ends this connection.
    connection(file_descriptor client, file_descriptor server)
        : m_client{std::move(client)}
        , m_server{std::move(server)} {}

    // Whether both sides are still there.
    bool pass_on(bool swallow) {
        return m_to_server.pass_on(swallow) && m_to_client.pass_on(swallow) && !has_ended();
    }

    void watch(std::vector<pollfd>& watched) const {
        watched.push_back(m_to_server.get_watched());
        watched.push_back(m_to_client.get_watched());
    }

private:
    file_descriptor const m_client;
    file_descriptor const m_server;
    direction m_to_server{m_client.get(), m_server.get()};
    direction m_to_client{m_server.get(), m_client.get()};

    // A connection that was accepted while nothing was forwarded has no server.
    [[nodiscard]] bool has_ended() const {
        return m_to_server.has_ended() && (m_to_client.has_ended() || m_server.get() == nobody);
    }
};

cutting_proxy::cutting_proxy(std::uint16_t server_port, std::uint16_t port)
    : m_server_port{server_port}
    , m_listener{listen_on_loopback(port)}
    , m_thread{[this] {
        return serve();
    }} {}

cutting_proxy::~cutting_proxy() = default;

std::string cutting_proxy::get_url() const {
    return make_nats_url(get_port(m_listener));
}

void cutting_proxy::cut() {
    std::scoped_lock const lock{m_mutex};
    m_cut = true;
}

void cutting_proxy::repair() {
    {
        std::scoped_lock const lock{m_mutex};
        m_connections.clear();
        m_cut = false;
    }
    m_thread.wake();
}

poll_round cutting_proxy::serve() {
    std::scoped_lock const lock{m_mutex};
    accept_connection_locked();
    std::erase_if(m_connections, [this](auto const& each) { return !each->pass_on(m_cut); });
    poll_round round;
    round.watched.push_back({.fd = m_listener.get(), .events = POLLIN, .revents = 0});
    for (auto const& each : m_connections) {
        each->watch(round.watched);
    }
    return round;
}

void cutting_proxy::accept_connection_locked() {
    auto client = accept_connection(m_listener);
    if (client.get() < 0) {
        return;
    }
    try {
        auto server = m_cut ? file_descriptor{nobody} : connect_to_loopback(m_server_port);
        m_connections.push_back(std::make_unique<connection>(std::move(client), std::move(server)));
    } catch (dev_hub_failure const&) {
        return; // too many open files: the client is disconnected
    }
}

} // namespace arvenhold::corvel::hub::dev
