// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How long a consumer or a consumer session in a process of its own takes to attach to many
// providers over a real nats-server, and what each connection takes: rows 18 and 25.

#pragma once

#include "end_to_end.hpp"

#include <string>
#include <vector>

namespace arvenhold::corvel::hub::bench {

/// Row 18: starts a hub with simulated providers, and consumers that print their figures.
void measure_attaching(effort const& planned);

/// Row 25: the same with consumer sessions.
void measure_following(effort const& planned);

/// The first argument of a process that is such a consumer.
inline constexpr char const* attaching_role = "attach";

/// What that process does with its further arguments.
void attach_and_print(std::vector<std::string> const& arguments);

} // namespace arvenhold::corvel::hub::bench
