// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/loopback_socket.hpp"

#include "dev_hub/dev_hub_failure.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace arvenhold::corvel::hub::dev {
namespace {

template <class Failure = dev_hub_failure>
void require(bool succeeded, std::string const& what) {
    if (!succeeded) {
        throw Failure{"cannot " + what + ": " + std::generic_category().message(errno)};
    }
}

sockaddr_in make_address(std::uint16_t port) {
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

file_descriptor make_socket(int flags) {
    file_descriptor made{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0)};
    require(made.get() >= 0, "open a socket");
    return made;
}

void set_option(int socket, int level, int name) {
    int const on = 1;
    ::setsockopt(socket, level, name, &on, sizeof on);
}

} // namespace

std::string make_nats_url(std::uint16_t port) {
    return "nats://127.0.0.1:" + std::to_string(port);
}

file_descriptor listen_on_loopback(std::uint16_t port) {
    auto listener = make_socket(SOCK_NONBLOCK);
    set_option(listener.get(), SOL_SOCKET, SO_REUSEADDR); // old connections may linger on the port
    auto address = make_address(port);
    auto const is_open = ::bind(listener.get(), generic(address), sizeof address) == 0
                      && ::listen(listener.get(), SOMAXCONN) == 0;
    require<port_unavailable>(is_open, "listen on port " + std::to_string(port));
    return listener;
}

std::uint16_t get_port(file_descriptor const& listener) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    require(::getsockname(listener.get(), generic(address), &size) == 0, "name a port");
    return ntohs(address.sin_port);
}

file_descriptor accept_connection(file_descriptor const& listener) {
    return file_descriptor{::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC)};
}

file_descriptor connect_to_loopback(std::uint16_t port) {
    auto made = make_socket(0);
    auto address = make_address(port);
    static_cast<void>(::connect(made.get(), generic(address), sizeof address));
    return made;
}

void send_at_once(int socket) {
    set_option(socket, IPPROTO_TCP, TCP_NODELAY);
}

bool would_block() {
    return errno == EAGAIN || errno == EINTR;
}

} // namespace arvenhold::corvel::hub::dev
