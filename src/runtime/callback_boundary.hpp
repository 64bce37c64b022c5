// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/callback_registry.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/nats_handles.hpp"

#include <exception>
#include <utility>

namespace arvenhold::corvel::hub {

// What the NATS client really calls. Each function lets its callback in through the gate and keeps
// every exception from the NATS client, which is written in C. The handlers behind get the object
// that registered itself as their closure.

/// Runs `work`; writes to standard error what leaves it.
template <class Work>
void at_callback_boundary(Work&& work) noexcept {
    try {
        std::forward<Work>(work)();
    } catch (std::exception const& error) {
        write_error_line({error.what()});
    } catch (...) {
        write_error_line({"A callback ended with an exception that is not a std::exception"});
    }
}

/// A message handler for natsConnection_Subscribe.
template <natsMsgHandler handler>
void message_entrance(
    natsConnection* connection,
    natsSubscription* subscription,
    natsMsg* message,
    void* closure) noexcept {
    callback_entry const entry{closure};
    if (entry.target() == nullptr) {
        nats_message const released{message};
        return;
    }
    at_callback_boundary([&] { handler(connection, subscription, message, entry.target()); });
}

/// A connection event handler for natsOptions_SetReconnectedCB and natsOptions_SetDisconnectedCB.
template <natsConnectionHandler handler>
void connection_event_entrance(natsConnection* connection, void* closure) noexcept {
    callback_entry const entry{closure};
    if (entry.target() != nullptr) {
        at_callback_boundary([&] { handler(connection, entry.target()); });
    }
}

} // namespace arvenhold::corvel::hub
