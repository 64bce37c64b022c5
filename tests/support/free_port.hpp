// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/port_candidate.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace arvenhold::corvel::hub {

/// Returns whether a service could listen on the port of 127.0.0.1 at this moment.
inline bool is_free(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    auto const tried = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The address types of the socket functions are known to overlap like this.
    auto const* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
    auto const is_bound = ::bind(tried, generic, sizeof address) == 0;
    ::close(tried);
    return is_bound;
}

/// A port for a service that must know it before it starts.
inline std::uint16_t find_free_port() {
    auto const found = dev::find_usable_port(is_free);
    if (!found.has_value()) {
        throw std::runtime_error{"there is no free port"};
    }
    return found->number;
}

} // namespace arvenhold::corvel::hub
