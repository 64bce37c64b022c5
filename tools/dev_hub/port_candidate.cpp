// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/port_candidate.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <random>
#include <string>

namespace arvenhold::corvel::hub::dev {

namespace {

// A socket with a name in the abstract namespace (unix(7)), which leaves no file and ends with the
// process. Nobody connects to it. Without one, as when descriptors are exhausted, nothing is refused.
bool is_name_taken(int socket, std::string const& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(&address.sun_path[1], sizeof address.sun_path - 1); // after a zero byte
    auto const size = offsetof(sockaddr_un, sun_path) + 1 + name.size();
    // The address types of the socket functions are known to overlap like this.
    auto const* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    return ::bind(socket, generic, static_cast<socklen_t>(size)) != 0 && errno == EADDRINUSE;
}

} // namespace

port_claim::port_claim(std::uint16_t port)
    : m_socket{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)}
    , m_is_refused{is_name_taken(m_socket.get(), "corvel-dev-hub/port/" + std::to_string(port))} {}

std::uint16_t make_port_candidate() {
    std::random_device device;
    return std::uniform_int_distribution<std::uint16_t>{20'000, 32'767}(device);
}

} // namespace arvenhold::corvel::hub::dev
