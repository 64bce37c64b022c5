// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The statuses that are no failures, the same for both kinds of sessions.

#pragma once

#include <hub/session/session_status.hpp>

namespace arvenhold::corvel::hub {

inline session_status starting_status() {
    return {session_state::connecting, session_reason::starting, "starting"};
}

inline session_status ready_status() {
    return {session_state::ready, session_reason::none, "ready"};
}

inline session_status stopped_status() {
    return {session_state::stopped, session_reason::stop_requested, "stopped"};
}

} // namespace arvenhold::corvel::hub
