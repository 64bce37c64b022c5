// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/nats_handles.hpp"

#include <string>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub {

/// A message from the hub, which a handler receives or a request returns. Owns the NATS client's
/// message and releases it on every path.
class received_message {
public:
    /// @param message       Owned from now on; null for a message that is missing.
    /// @param connection    The connection that received it.
    /// @param subscription  The subscription that received it; null for the reply to a request.
    received_message(
        nats_message message,
        natsConnection const* connection,
        natsSubscription* subscription = nullptr)
        : m_message{std::move(message)}
        , m_connection{connection}
        , m_subscription{subscription} {}

    /// Returns whether there is a message. Handlers are called only with one.
    explicit operator bool() const {
        return m_message != nullptr;
    }

    /// Returns the bytes; valid as long as this object.
    std::string_view bytes() const {
        return bytes_of(m_message);
    }

    /// Returns the subject on which a reply is expected; an empty string if none is.
    std::string reply_subject() const {
        return reply_subject_of(m_message);
    }

    /// Releases the message before this object ends.
    void release() {
        m_message.reset();
    }

private:
    friend class nats_session; // knows its own messages, and replies to them

    nats_message m_message;
    natsConnection const* m_connection;
    natsSubscription* m_subscription;
};

} // namespace arvenhold::corvel::hub
