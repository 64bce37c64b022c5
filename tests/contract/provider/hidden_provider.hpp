// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What lies behind a provider's gate, which only lets objects through: tests call the handlers with
// what the gate keeps back, and make a state that no sequence of calls leads to.

#pragma once

#include <hub/provider.hpp>

#include <nats/nats.h>

namespace arvenhold::corvel::hub {

natsConnectionHandler disconnected_callback();
natsConnectionHandler reconnected_callback();
natsMsgHandler read_request_handler();
natsMsgHandler write_command_handler();
natsMsgHandler registry_state_handler();
natsMsgHandler verdict_handler();

/// What the handlers and callbacks get as their closure.
void* closure_of(provider const& owner);

/// Makes the provider lose its list although it is registered.
void take_list_from(provider const& owner);

} // namespace arvenhold::corvel::hub
