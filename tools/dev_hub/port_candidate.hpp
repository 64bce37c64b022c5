// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Ports for services that must be able to close and reopen their port.

#pragma once

#include <cstdint>
#include <optional>

namespace arvenhold::corvel::hub::dev {

/// How many candidates are worth trying before giving up.
constexpr int port_attempts = 50;

/// A random port that is probably free.
///
/// It lies below the range from which Linux takes the ports of outgoing connections, so that no
/// connection on this machine can take it while its service is down.
[[nodiscard]] std::uint16_t make_port_candidate();

/// Calls `try_port` with candidates until it returns true.
///
/// @return the port that could be used; nothing if there was none.
template <class Try>
[[nodiscard]] std::optional<std::uint16_t> find_usable_port(Try try_port) {
    for (int attempt = 0; attempt < port_attempts; ++attempt) {
        auto const candidate = make_port_candidate();
        if (try_port(candidate)) {
            return candidate;
        }
    }
    return {};
}

} // namespace arvenhold::corvel::hub::dev
