// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// TCP on 127.0.0.1, for the servers that run inside this process.

#pragma once

#include "dev_hub/file_descriptor.hpp"

#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub::dev {

/// What clients of a NATS server connect to: "nats://127.0.0.1:" and the port.
[[nodiscard]] std::string make_nats_url(std::uint16_t port);

/// Listens on a port; accept_connection() does not block.
///
/// @param port  0 for a free one.
///
/// @throws port_unavailable  The port cannot be opened, for example because it is taken.
/// @throws dev_hub_failure   There is no socket left.
[[nodiscard]] file_descriptor listen_on_loopback(std::uint16_t port);

/// The port of a socket that listens.
[[nodiscard]] std::uint16_t get_port(file_descriptor const& listener);

/// The next connection; none if no client waits, or if errno has another reason.
[[nodiscard]] file_descriptor accept_connection(file_descriptor const& listener);

/// Connects to a port. If nothing listens there, the socket is at its end.
///
/// @throws dev_hub_failure  There is no socket left.
[[nodiscard]] file_descriptor connect_to_loopback(std::uint16_t port);

/// Lets the kernel send small pieces without waiting for more.
void send_at_once(int socket);

/// Whether the latest call on a socket failed, by errno, only because it would have had to wait.
[[nodiscard]] bool would_block();

} // namespace arvenhold::corvel::hub::dev
