// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/raw_http_server.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

void require(bool succeeded, char const* what) {
    if (!succeeded) {
        throw std::system_error{errno, std::generic_category(), what};
    }
}

// The socket functions take every address type through this one.
sockaddr* generic(sockaddr_in& address) {
    return static_cast<sockaddr*>(static_cast<void*>(&address));
}

int listen_on_a_free_port() {
    auto const listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(listener >= 0, "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(::bind(listener, generic(address), sizeof address) == 0, "bind");
    require(::listen(listener, SOMAXCONN) == 0, "listen");
    return listener;
}

// Returns whether the head has arrived, with as much body as the head announces. Anything but a
// POST request is complete at once.
bool is_complete(std::string const& request) {
    constexpr std::string_view beginning = "POST ";
    constexpr std::string_view head_end = "\r\n\r\n";
    constexpr std::string_view length_name = "\r\nContent-Length: ";
    if (request.size() >= beginning.size() && !request.starts_with(beginning)) {
        return true;
    }
    auto const head = request.find(head_end);
    auto const length = request.find(length_name);
    if (head == std::string::npos || length == std::string::npos) {
        return head != std::string::npos;
    }
    auto const announced = std::strtoul(request.c_str() + length + length_name.size(), nullptr, 10);
    return request.size() >= head + head_end.size() + announced;
}

std::string receive_request(int client) {
    std::string request;
    std::array<char, 4096> buffer{};
    while (!is_complete(request)) {
        auto const count = ::recv(client, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            break;
        }
        request.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return request;
}

} // namespace

raw_http_connection::raw_http_connection(int socket)
    : m_socket{socket} {}

void raw_http_connection::send(std::string_view bytes) const {
    while (!bytes.empty()) {
        auto const count = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

bool raw_http_connection::is_left_within(std::chrono::milliseconds limit) const {
    pollfd watched{.fd = m_socket, .events = POLLIN, .revents = 0};
    return ::poll(&watched, 1, static_cast<int>(limit.count())) != 0;
}

raw_http_server::raw_http_server(script answer)
    : m_answer{std::move(answer)}
    , m_listener{listen_on_a_free_port()}
    , m_thread{[this] {
        serve();
    }} {}

raw_http_server::~raw_http_server() {
    {
        std::scoped_lock const lock{m_mutex};
        m_ending = true;
        ::shutdown(m_listener, SHUT_RDWR);
        if (m_client >= 0) {
            ::shutdown(m_client, SHUT_RDWR);
        }
    }
    m_thread.join();
    ::close(m_listener);
}

std::uint16_t raw_http_server::get_port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    require(::getsockname(m_listener, generic(address), &size) == 0, "getsockname");
    return ntohs(address.sin_port);
}

std::string raw_http_server::get_url() const {
    return "http://127.0.0.1:" + std::to_string(get_port()) + "/token";
}

std::vector<std::string> raw_http_server::get_requests() const {
    std::scoped_lock const lock{m_mutex};
    return m_requests;
}

void raw_http_server::serve() {
    for (;;) {
        auto const client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            return; // the destructor has shut the listener
        }
        if (begin_serving(client)) {
            answer(client);
            end_serving();
        }
        ::close(client);
    }
}

void raw_http_server::answer(int client) {
    auto request = receive_request(client);
    {
        std::scoped_lock const lock{m_mutex};
        m_requests.push_back(std::move(request));
    }
    raw_http_connection connection{client};
    m_answer(connection);
}

bool raw_http_server::begin_serving(int client) {
    std::scoped_lock const lock{m_mutex};
    m_client = client;
    return !m_ending;
}

void raw_http_server::end_serving() {
    std::scoped_lock const lock{m_mutex};
    m_client = -1;
}

std::string http_reply(std::string_view body, std::string_view head) {
    return std::string{head}
        .append("\r\nContent-Length: ")
        .append(std::to_string(body.size()))
        .append("\r\nConnection: close\r\n\r\n")
        .append(body);
}

} // namespace arvenhold::corvel::hub
