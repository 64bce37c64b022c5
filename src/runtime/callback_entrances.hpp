// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/callback_boundary.hpp"
#include "runtime/callback_registry.hpp"
#include "runtime/diagnostics.hpp"
#include "runtime/nats_handles.hpp"
#include "runtime/received_message.hpp"
#include "runtime/subscription_kinds.hpp"
#include <hub/common.hpp>

#include <string_view>
#include <type_traits>
#include <utility>

namespace arvenhold::corvel::hub {

// The functions that the NATS client calls: one for each handler of a role. They admit the callback
// through the gate, report null pointers, convert C to C++, keep exceptions from the NATS client, and
// call ordinary member functions.
//
// An owner is a class with such members and with `get_client_name()`; one that owns a session also
// has `nats_recon_callback()`, `nats_dcon_callback()` and the constant `kind`.

template <class Handler>
struct handler_traits;

template <class Owner>
struct handler_traits<void (Owner::*)(received_message)> {
    using owner = Owner;
};

/// The class whose member `handler` is.
template <auto handler>
using owner_of = typename handler_traits<decltype(handler)>::owner;

/// Passes a message to a handler.
///
/// @tparam kind          What to report when something is missing.
/// @tparam handler       A member `void (Owner::*)(received_message)`.
/// @tparam when_missing  A member `void (Owner::*)()` to call when the message is missing, or null.
template <subscription_kind const& kind, auto handler, auto when_missing>
void message_entrance(
    natsConnection* connection,
    natsSubscription* subscription,
    natsMsg* raw_message,
    void* closure) noexcept {
    received_message message{nats_message{raw_message}, connection, subscription};
    if (closure == nullptr) {
        bool const message_first = kind.checked_first == subscription_kind::part::message;
        report(
            diagnostic_severity::error,
            {},
            {!message && message_first ? kind.missing_message : kind.missing_owner});
        return;
    }
    callback_entry const entry{closure};
    if (entry.target() == nullptr) {
        return;
    }
    auto& owner = *static_cast<owner_of<handler>*>(entry.target());
    at_callback_boundary(owner.get_client_name(), [&] {
        if (message) {
            (owner.*handler)(std::move(message));
            return;
        }
        report(diagnostic_severity::error, owner.get_client_name(), {kind.missing_message});
        if constexpr (!std::is_null_pointer_v<decltype(when_missing)>) {
            (owner.*when_missing)();
        }
    });
}

/// The two connection event callbacks of a role.
struct connection_events {
    natsConnectionHandler reconnected = nullptr;
    natsConnectionHandler disconnected = nullptr;
};

/// Passes a connection event to its owner.
template <class Owner, auto callback>
void connection_event_entrance(void* closure, std::string_view callback_name) noexcept {
    if (closure == nullptr) {
        report(
            diagnostic_severity::error,
            {},
            {Owner::kind == client_kind::provider ? "provider::" : "consumer::",
             callback_name,
             "(): Received empty class instance"});
        return;
    }
    callback_entry const entry{closure};
    if (entry.target() != nullptr) {
        auto& owner = *static_cast<Owner*>(entry.target());
        at_callback_boundary(owner.get_client_name(), [&] { (owner.*callback)(); });
    }
}

/// Returns the callbacks that pass a connection's events to an owner of the given class.
template <class Owner>
constexpr connection_events connection_events_of() {
    return {
        [](natsConnection* /*connection*/, void* closure) {
            connection_event_entrance<Owner, &Owner::nats_recon_callback>(
                closure, "nats_recon_callback");
        },
        [](natsConnection* /*connection*/, void* closure) {
            connection_event_entrance<Owner, &Owner::nats_dcon_callback>(
                closure, "nats_dcon_callback");
        }};
}

} // namespace arvenhold::corvel::hub
