// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The handlers of the consumer role behind the gate, which only lets objects through: tests call
// them with what the gate keeps back.

#pragma once

#include <nats/nats.h>

namespace arvenhold::corvel::hub {

natsConnectionHandler disconnected_callback();
natsConnectionHandler reconnected_callback();
natsMsgHandler providers_changed_handler();
natsMsgHandler definition_changed_handler(); ///< Closure: a provider_connection.
natsMsgHandler variables_changed_handler();  ///< Likewise.

} // namespace arvenhold::corvel::hub
