// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The faults of a hub that end by themselves: their names on the command line, how long they last,
// and the sentences that announce them.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::dev {

enum class fault_kind {
    nats_down,       ///< nats-server is killed, and started again on its port at the end.
    freeze,          ///< nats-server is stopped, and continued at the end.
    half_open,       ///< Clients' connections carry nothing, and are closed at the end.
    server_restart,  ///< nats-server is killed and started again at once; has no duration.
    token_down,      ///< The token endpoint's port is closed.
    token_slow,      ///< The token endpoint answers late.
    token_refuse,    ///< The token endpoint answers every request with status 401.
    registry_silent, ///< The registry drops everything that it receives.
    registry_reject, ///< The registry finds every definition that arrives invalid.
};

/// A fault that a user asks for.
struct fault {
    fault_kind kind;
    std::chrono::milliseconds duration = std::chrono::seconds{10};

    /// How late tokens are with `token_slow`. With the default the NATS client, which waits 2 s for
    /// a connection, gives up before the token arrives.
    std::chrono::milliseconds token_delay = std::chrono::seconds{3};
};

/// What a fault breaks. A service has at most one fault at a time.
enum class hub_service {
    nats_server,
    token_endpoint,
    registry
};

[[nodiscard]] hub_service get_service(fault_kind kind);

/// The name on the command line, as "nats-down".
[[nodiscard]] std::string_view get_name(fault_kind kind);

/// @return nothing if there is no such fault.
[[nodiscard]] std::optional<fault_kind> find_fault_kind(std::string_view name);

/// All names, in the order of the enumeration.
[[nodiscard]] std::vector<std::string> get_fault_names();

/// A line of a help text for each fault: its name, and what happens.
[[nodiscard]] std::string list_faults();

/// The sentence that announces the fault, as "nats-server is away for 10 s".
[[nodiscard]] std::string describe_begin(fault const& begun);

/// The sentence that announces the fault's end, as "nats-server is back".
[[nodiscard]] std::string describe_end(fault_kind kind);

/// Reads "10", "10s", "3m" or "500ms"; a number without a unit counts seconds.
///
/// @return nothing if the text is something else, or not within 1 ms and 24 h.
[[nodiscard]] std::optional<std::chrono::milliseconds> parse_duration(std::string_view text);

} // namespace arvenhold::corvel::hub::dev
