// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Sessions against the plain provider and consumer, between two processes over a real nats-server.

#pragma once

namespace arvenhold::corvel::hub::bench {

/// Row 22: from a call in one process to the handler in the other.
void compare_session_delays(int rounds);

/// Row 23: how fast values leave a provider session.
void compare_session_rates(int rounds);

/// Row 24: how fast values reach a handler of a consumer session.
void compare_session_handlers(int rounds);

} // namespace arvenhold::corvel::hub::bench
