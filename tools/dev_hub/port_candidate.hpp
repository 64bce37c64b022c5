// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Ports for services that must be able to close and reopen their port.

#pragma once

#include "dev_hub/file_descriptor.hpp"

#include <cstdint>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub::dev {

/// How many candidates are worth trying before giving up.
constexpr int port_attempts = 50;

/// A random port that is probably free.
///
/// It lies below the range from which Linux takes the ports of outgoing connections, so that no
/// connection on this machine can take it while its service is down.
[[nodiscard]] std::uint16_t make_port_candidate();

/// Keeps find_usable_port() in every process of this machine from a port while the object exists, so
/// that the port stays free for a service that is down.
class port_claim {
public:
    explicit port_claim(std::uint16_t port);

    /// Returns whether another object has claimed the port.
    [[nodiscard]] bool is_refused() const {
        return m_is_refused;
    }

private:
    file_descriptor m_socket;
    bool m_is_refused;
};

/// A port that could be used, for as long as it is claimed.
struct usable_port {
    std::uint16_t number;
    port_claim claim;
};

/// Calls `try_port` with candidates until it returns true.
///
/// @return the port that could be used; nothing if there was none.
template <class Try>
[[nodiscard]] std::optional<usable_port> find_usable_port(Try try_port) {
    for (int attempt = 0; attempt < port_attempts; ++attempt) {
        auto const candidate = make_port_candidate();
        port_claim claim{candidate};
        if (!claim.is_refused() && try_port(candidate)) {
            return usable_port{candidate, std::move(claim)};
        }
    }
    return {};
}

} // namespace arvenhold::corvel::hub::dev
