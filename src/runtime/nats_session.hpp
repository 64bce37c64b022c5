// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/callback_registry.hpp"
#include "runtime/nats_handles.hpp"
#include "runtime/token_parameters.hpp"
#include <hub/connect_options.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// How long a request waits for its reply.
inline constexpr std::chrono::milliseconds request_time_limit{5000};

/// What a session is opened with.
struct session_settings {
    std::string server_url;
    std::string client_name;
    std::string inbox_prefix;
    std::shared_ptr<token_parameters const> token;
    natsConnectionHandler reconnected;  ///< Made with connection_event_entrance.
    natsConnectionHandler disconnected; ///< Likewise.
    connect_options options{};
};

/// The outcome of a request. The message is null unless the status is NATS_OK.
struct request_outcome {
    natsStatus status = NATS_OK;
    nats_message reply;
};

/// The outcome of subscribing. The session owns the subscription; it is null unless the status is
/// NATS_OK.
struct subscribe_outcome {
    natsStatus status = NATS_OK;
    natsSubscription* subscription = nullptr;
};

/// One connection to the NATS server, from connect() to close(), with its subscriptions.
///
/// A role holds it by shared_ptr and copies the pointer under its own lock for every use, so that
/// the handles live as long as anybody uses them. All operations may be called from any thread,
/// also during and after close(). Requests report NATS_CONNECTION_CLOSED as soon as close() has
/// begun, the others when it has returned.
///
/// While the NATS client reconnects, it holds a lock of its own for as long as it takes to reach
/// the server, 2 s for one that does not answer, and to fetch a token, up to 5 s. Every operation
/// may wait that long.
///
/// 1. Order of the end: no callback begins any more, subscriptions end, requests return, the
///    connection is closed; only then, and only when nobody uses the session, are the handles
///    destroyed. The NATS client reads freed memory when a subscription is destroyed while a
///    message for it arrives, or when it is closed while a reply arrives.
/// 2. A subscription that ends early is parked. It is destroyed when a round trip to the server
///    shows that no message for it can arrive any more, or with the session.
/// 3. No lock is held while the NATS client is called.
class nats_session {
public:
    /// @param settings  What to connect with.
    /// @param gate      Admits the owner's callbacks.
    /// @param owner     The object that the connection event handlers get.
    nats_session(
        session_settings settings, std::shared_ptr<callback_gate> gate, std::weak_ptr<void> owner);
    nats_session(nats_session const&) = delete;
    nats_session& operator=(nats_session const&) = delete;
    ~nats_session();

    /// Connects; called once, before the session is shared.
    natsStatus connect();

    /// Subscribes to `subject` with a handler made with message_entrance.
    subscribe_outcome subscribe(std::string const& subject, natsMsgHandler handler, void* closure)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// As above, with the session's owner as the object that the handler gets.
    subscribe_outcome subscribe(std::string const& subject, natsMsgHandler handler);

    /// Ends a subscription, once; handlers may still be running.
    void unsubscribe(natsSubscription* subscription) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Hands a message to the NATS client, which sends it within about a millisecond.
    natsStatus publish(std::string const& subject, std::string_view bytes);

    /// Sends a request and waits for its reply, up to request_time_limit.
    request_outcome request(std::string const& subject, std::string_view bytes)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Sends what is buffered and waits until the server has taken it, up to `limit`.
    natsStatus flush(std::chrono::milliseconds limit) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Sends what is buffered at once, unless more messages are waiting in `subscription`, whose
    /// handler calls this after each reply: single replies leave without delay, replies to many
    /// requests leave together. A failure changes nothing.
    void flush_when_idle(natsSubscription* subscription) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Ends the session. Waits for requests of other threads, at most request_time_limit, and up to
    /// 0.5 s for unsent data.
    void close() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Tells whether a message is sent at once, so that an answer may arrive at any moment after.
    bool sends_immediately() const;

    /// Tells whether a handler that was given `connection` runs for this session.
    bool owns(natsConnection const* connection) const;

    /// Tells whether close() has been called.
    bool is_closed() CORVEL_HUB_EXCLUDES(m_mutex);

private:
    // Shared, so that close() can end a subscription while flush() lets go of it.
    using subscription_list = std::vector<std::shared_ptr<natsSubscription>>;

    session_settings const m_settings;
    callback_registration m_owner_callbacks; // withdrawn when closing
    callback_registration m_token_callbacks; // likewise

    // In this order, so that the destructor releases them in the opposite one.
    nats_options m_options;
    nats_connection m_connection;

    std::mutex m_mutex;
    std::condition_variable m_request_ended;
    subscription_list m_subscriptions CORVEL_HUB_GUARDED_BY(m_mutex);
    subscription_list m_parked CORVEL_HUB_GUARDED_BY(m_mutex);
    int m_running_requests CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    bool m_closing CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    natsStatus make_options();
    bool begin_request() CORVEL_HUB_EXCLUDES(m_mutex);
    void end_request() CORVEL_HUB_EXCLUDES(m_mutex);
    subscription_list begin_closing() CORVEL_HUB_EXCLUDES(m_mutex);
    void wait_for_requests() CORVEL_HUB_EXCLUDES(m_mutex);
};

} // namespace arvenhold::corvel::hub
