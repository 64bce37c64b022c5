// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How commands that last reach the hub.

#pragma once

#include "corvelctl/tool.hpp"
#include <hub/session/hub_access.hpp>

namespace arvenhold::corvel::hub::ctl {

/// Returns what a session needs to connect, and hides the secret from everything that is shown.
///
/// @throws failure  As find_connection().
[[nodiscard]] hub_access make_session_access(tool& with);

} // namespace arvenhold::corvel::hub::ctl
