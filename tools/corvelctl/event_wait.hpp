// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Waiting of commands that last.

#pragma once

#include "corvelctl/output.hpp"
#include "corvelctl/supervisor.hpp"

#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Waits until one of the descriptors is readable or the time has come, a minute at most.
///
/// @param descriptors  Negative ones do not count.
///
/// @throws output_closed  Nobody reads standard output any more, which needs a reader.
void wait_for_events(
    output const& out, std::vector<int> const& descriptors, supervisor::clock::time_point until);

} // namespace arvenhold::corvel::hub::ctl
