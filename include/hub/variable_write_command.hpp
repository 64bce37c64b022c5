// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <tuple>
#include <vector>

namespace arvenhold::corvel::hub {

/// A consumer's request to write variables of a provider.
struct variable_write_command {
    /// Variable id and new value, in the order of the consumer's command. Nothing has been checked:
    /// ids may be unknown, values of the wrong type, variables read-only.
    /// variable_list::write_variable() throws for all of these.
    std::vector<std::tuple<variable_id, variable_value>> entries;
};

} // namespace arvenhold::corvel::hub
