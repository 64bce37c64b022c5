// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/provider.hpp>
#include <hub/provider_definition.hpp>
#include <hub/variable_list.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

/// Everything of a variable that can change: value, quality, time stamp, number of updates.
using variable_state = std::tuple<variable_value, variable_quality, timestamp, std::uint64_t>;

/// Creates a list of the given variables.
std::shared_ptr<variable_list> make_list(
    provider& parent,
    definition_fingerprint fingerprint,
    std::vector<variable_definition_entry> const& entries);

/// Returns the ids of a list, in their order.
std::vector<variable_id> ids_of(variable_list const& list);

/// Returns the states of the variables of a list, in the order of their ids.
std::vector<variable_state> states_of(variable_list const& list);

/// Returns a copy of the ids of the pending variables, taken under the lock of the list.
modification_tracker pending_of(variable_list& list);

/// Forgets what is pending, as the provider's publication does.
void forget_pending(variable_list& list);

/// Returns the id as messages and dumps begin with it.
std::string bracketed(variable_id id);

} // namespace arvenhold::corvel::hub
