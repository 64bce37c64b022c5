// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Sessions against the plain provider and consumer, between two processes over a real nats-server.

#pragma once

#include "end_to_end.hpp"

namespace arvenhold::corvel::hub::bench {

/// Row 22: from a call in one process to the handler in the other.
void compare_session_delays(effort const& planned);

/// Row 23: how fast values leave a provider session.
void compare_session_rates(effort const& planned);

/// Row 24: how fast values reach a handler of a consumer session.
void compare_session_handlers(effort const& planned);

} // namespace arvenhold::corvel::hub::bench
