// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/cutting_proxy.hpp"

#include "support/await.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace arvenhold::corvel::hub::reliability {

namespace {

constexpr int check_interval = 5; // in milliseconds, between two checks for requests

constexpr int nobody = -1; // a file number that is never readable

constexpr std::string_view url_beginning = "nats://127.0.0.1:";

void require(bool succeeded, char const* what) {
    if (!succeeded) {
        throw std::system_error{errno, std::generic_category(), what};
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

int make_socket() {
    auto const made = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(made >= 0, "socket");
    return made;
}

int listen_on_a_free_port() {
    auto const listener = make_socket();
    auto address = loopback(0);
    require(::bind(listener, generic(address), sizeof address) == 0, "bind");
    require(::listen(listener, SOMAXCONN) == 0, "listen");
    return listener;
}

// A socket with nothing to read; at its end if nothing listens on the port.
int connect_to(std::uint16_t port) {
    auto const made = make_socket();
    auto address = loopback(port);
    static_cast<void>(::connect(made, generic(address), sizeof address));
    return made;
}

bool is_readable(int socket, int milliseconds) {
    pollfd watched{.fd = socket, .events = POLLIN, .revents = 0};
    return ::poll(&watched, 1, milliseconds) > 0;
}

// Whether the sender is still there.
bool pass_piece(int from, int to, bool swallow) {
    std::array<char, 65536> piece{};
    auto const count = ::recv(from, piece.data(), piece.size(), 0);
    if (count <= 0) {
        return false;
    }
    std::string_view rest{piece.data(), static_cast<std::size_t>(count)};
    while (!swallow && !rest.empty()) {
        auto const sent = ::send(to, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        rest.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

} // namespace

// Two sockets, one to each side.
class cutting_proxy::connection {
public:
    // If the server cannot be reached, the next pass_on() ends this connection.
    connection(int client, int server)
        : m_client{client}
        , m_server{server} {}

    connection(connection const&) = delete;
    connection& operator=(connection const&) = delete;

    ~connection() {
        ::close(m_client);
        ::close(m_server);
    }

    void pass_on(bool swallow) {
        for (auto const& [from, to] :
             {std::pair{m_client, m_server}, std::pair{m_server, m_client}}) {
            if (m_open && is_readable(from, 0)) {
                m_open = pass_piece(from, to, swallow);
            }
        }
    }

    [[nodiscard]] bool is_open() const {
        return m_open;
    }

    void watch(std::vector<pollfd>& watched) const {
        watched.push_back({.fd = m_client, .events = POLLIN, .revents = 0});
        watched.push_back({.fd = m_server, .events = POLLIN, .revents = 0});
    }

private:
    int const m_client;
    int const m_server;
    bool m_open = true;
};

cutting_proxy::cutting_proxy(std::string const& server_url)
    : m_server_port{static_cast<std::uint16_t>(std::stoi(server_url.substr(url_beginning.size())))}
    , m_listener{listen_on_a_free_port()}
    , m_thread{[this] {
        run();
    }} {}

cutting_proxy::~cutting_proxy() {
    m_ending = true;
    m_thread.join();
    ::close(m_listener);
}

std::string cutting_proxy::get_url() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    require(::getsockname(m_listener, generic(address), &size) == 0, "getsockname");
    return std::string{url_beginning} + std::to_string(ntohs(address.sin_port));
}

void cutting_proxy::cut() {
    m_cut = true;
}

void cutting_proxy::repair() {
    m_repaired = true;
    await([this] { return !m_repaired; });
}

void cutting_proxy::run() {
    while (!m_ending) {
        if (m_repaired) {
            m_connections.clear();
            m_cut = false;
            m_repaired = false;
        }
        std::vector<pollfd> watched{{.fd = m_listener, .events = POLLIN, .revents = 0}};
        for (auto const& each : m_connections) {
            each->watch(watched);
        }
        ::poll(watched.data(), watched.size(), check_interval);
        if (is_readable(m_listener, 0)) {
            take_connection();
        }
        pass_on();
    }
    m_connections.clear();
}

void cutting_proxy::take_connection() {
    auto const client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client >= 0) {
        auto const server = m_cut ? nobody : connect_to(m_server_port);
        m_connections.push_back(std::make_unique<connection>(client, server));
    }
}

void cutting_proxy::pass_on() {
    for (auto const& each : m_connections) {
        each->pass_on(m_cut);
    }
    std::erase_if(m_connections, [](auto const& each) { return !each->is_open(); });
}

} // namespace arvenhold::corvel::hub::reliability
