// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The faults that sessions must repair.

#pragma once

#include "reliability/session_world.hpp"

#include <chrono>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::reliability {

/// A fault, from its begin to the demanded recovery.
struct session_fault {
    std::string_view name; ///< On the command line.
    world_size size;
    /// How long a value may be shown as live after its provider has replaced or lost it.
    std::chrono::milliseconds (*documented)(world_limits const&);
    /// Begins the fault, waits, ends it.
    void (*run)(session_world&, std::chrono::milliseconds outage);
    bool needs_clients = true;  ///< Whether the sessions run when it begins.
    bool needs_new_hub = false; ///< Whether every repetition has a hub and a seed of its own.
};

[[nodiscard]] std::vector<session_fault> const& all_session_faults();

/// Returns the fault; throws row_failure if there is none with this name.
[[nodiscard]] session_fault const& find_session_fault(std::string_view name);

} // namespace arvenhold::corvel::hub::reliability
