// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/cutting_proxy.hpp"

#include "dev_hub/dev_hub_failure.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub::dev {

namespace {

constexpr int nobody = -1; // a file number that is never readable

constexpr std::size_t piece_size = 65'536; // bytes that are forwarded at once

void require(bool succeeded, char const* what) {
    if (!succeeded) {
        throw dev_hub_failure{
            "the proxy cannot " + std::string{what} + ": "
            + std::generic_category().message(errno)};
    }
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// The address types of the socket functions are known to overlap like this.
sockaddr* generic(sockaddr_in& address) {
    return static_cast<sockaddr*>(static_cast<void*>(&address));
}

int make_socket(int flags) {
    auto const made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
    require(made >= 0, "open a socket");
    return made;
}

void set_option(int socket, int level, int name) {
    int const on = 1;
    ::setsockopt(socket, level, name, &on, sizeof on);
}

file_descriptor listen_on(std::uint16_t port) {
    file_descriptor listener{make_socket(SOCK_NONBLOCK)};
    set_option(listener.get(), SOL_SOCKET, SO_REUSEADDR); // old connections may linger on the port
    auto address = loopback(port);
    require(::bind(listener.get(), generic(address), sizeof address) == 0, "open its port");
    require(::listen(listener.get(), SOMAXCONN) == 0, "open its port");
    return listener;
}

// A socket with nothing to read; at its end if nothing listens on the port.
int connect_to(std::uint16_t port) {
    auto const made = make_socket(0);
    auto address = loopback(port);
    static_cast<void>(::connect(made, generic(address), sizeof address));
    return made;
}

bool would_block() {
    return errno == EAGAIN || errno == EINTR;
}

// One way of a connection. At most one piece waits for its reader.
class direction {
public:
    direction(int from, int to)
        : m_from{from}
        , m_to{to} {
        set_option(to, IPPROTO_TCP, TCP_NODELAY);
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
    , m_listener{listen_on(port)}
    , m_wake{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)}
    , m_thread{[this] {
        run();
    }} {}

cutting_proxy::~cutting_proxy() {
    {
        std::scoped_lock const lock{m_mutex};
        m_ending = true;
    }
    wake();
    m_thread.join();
}

std::string cutting_proxy::get_url() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    require(::getsockname(m_listener.get(), generic(address), &size) == 0, "name its port");
    return "nats://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
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
    wake();
}

void cutting_proxy::run() {
    for (auto watched = serve(); !watched.empty(); watched = serve()) {
        ::poll(watched.data(), watched.size(), -1);
    }
}

std::vector<pollfd> cutting_proxy::serve() {
    std::scoped_lock const lock{m_mutex};
    if (m_ending) {
        return {};
    }
    eventfd_t ignored = 0;
    ::eventfd_read(m_wake.get(), &ignored);
    accept_connection_locked();
    std::erase_if(m_connections, [this](auto const& each) { return !each->pass_on(m_cut); });
    std::vector<pollfd> watched{
        {.fd = m_wake.get(), .events = POLLIN, .revents = 0},
        {.fd = m_listener.get(), .events = POLLIN, .revents = 0}};
    for (auto const& each : m_connections) {
        each->watch(watched);
    }
    return watched;
}

void cutting_proxy::wake() {
    ::eventfd_write(m_wake.get(), 1);
}

void cutting_proxy::accept_connection_locked() {
    file_descriptor client{::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC)};
    if (client.get() >= 0) {
        file_descriptor server{m_cut ? nobody : connect_to(m_server_port)};
        m_connections.push_back(std::make_unique<connection>(std::move(client), std::move(server)));
    }
}

} // namespace arvenhold::corvel::hub::dev
