// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/callback_entrances.hpp"
#include "runtime/callback_registry.hpp"
#include "runtime/changed_options.hpp"
#include "runtime/link_watch.hpp"
#include "runtime/nats_handles.hpp"
#include "runtime/received_message.hpp"
#include "runtime/subscription_kinds.hpp"
#include "runtime/token_parameters.hpp"
#include <hub/common.hpp>
#include <hub/connect_options.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

class authentication_failed;
class connection_failed;

/// What a session is opened with.
struct nats_session_settings {
    client_kind kind = client_kind::provider;
    std::string client_name;
    std::string server_url;
    std::string token_endpoint;
    std::string client_id;
    std::string client_secret;
    std::string_view scope;
    connect_options options;
};

/// One connection to the NATS server, from connect() to close(), with its subscriptions.
///
/// A role holds it by shared_ptr and copies the pointer under its own lock for every use, so that
/// the handles live as long as they are used. All operations may be called from any thread, also
/// during and after close(). What the NATS client refuses is thrown as connection_failed, in the
/// client's name; requests are refused as soon as begin_close() has been called, everything else
/// when close() has returned.
///
/// While the NATS client reconnects, it holds a lock of its own for as long as it takes to reach
/// the server, 2 s for one that does not answer, and to obtain a token, up to 5 s. Every operation
/// may wait that long.
///
/// 1. Order of the end: no callback begins any more, subscriptions end, requests return, the
///    connection is closed; only then, and only when nobody uses the session, are the handles
///    destroyed. The NATS client reads freed memory when a subscription is destroyed while a
///    message for it arrives, or when it is closed while a reply arrives.
/// 2. A subscription that ends before its session is parked, and destroyed only once a flush proves
///    that no message for it is still in flight, or with the session.
/// 3. No lock is held while the NATS client is called.
/// 4. A session that has failed stays so. The mark is its own, so that what fails late fails no
///    later session.
class nats_session {
public:
    /// @param settings  What to connect with.
    /// @param owner     The right of the role to be called back about the connection; withdrawn
    ///                  when the session ends.
    template <class Owner>
    nats_session(
        nats_session_settings settings, std::shared_ptr<callback_registration_of<Owner>> owner)
        : nats_session{std::move(settings), connection_events_of<Owner>(), std::move(owner)} {}

    nats_session(nats_session const&) = delete;
    nats_session& operator=(nats_session const&) = delete;
    ~nats_session();

    /// Connects; called once, before callbacks can use the session.
    ///
    /// @throws connection_failed  The server cannot be reached or refuses, or no token could be
    ///                            obtained. The session is closed.
    /// @throws std::system_error  There is no thread for the link callback. Nothing is connected.
    void connect();

    /// Subscribes to `subject`.
    ///
    /// @tparam kind          What to report about this subscription.
    /// @tparam handler       A member `void (Owner::*)(received_message)`, called on a delivery
    ///                       thread of its own.
    /// @tparam when_missing  A member `void (Owner::*)()`, called when the NATS client passes no
    ///                       message; none by default.
    /// @param owner          The right of the handler's object to be called back.
    ///
    /// @throws connection_failed  Nothing was subscribed. The session has failed.
    /// @throws std::bad_alloc     Likewise.
    template <subscription_kind const& kind, auto handler, auto when_missing = nullptr>
    void subscribe(
        std::string const& subject, callback_registration_of<owner_of<handler>> const& owner) {
        subscribe(kind, subject, &message_entrance<kind, handler, when_missing>, owner.closure());
    }

    /// Withdraws the right of an owner to be called back and ends its subscriptions. Handlers may
    /// still be running.
    void unsubscribe(callback_registration& owner) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Passes a message to the NATS client, which sends it within about a millisecond.
    ///
    /// @param operation  What to call this in the exception.
    ///
    /// @throws connection_failed  Nothing was sent. The session has failed.
    void publish(std::string_view operation, std::string const& subject, std::string_view bytes);

    /// Sends the reply to a read request and flushes it, unless more requests are queued: a single
    /// reply leaves without delay, replies to many requests leave together. A reply that cannot be
    /// sent is reported, and the session has failed.
    void reply_to_read_request(received_message const& request, std::string_view bytes)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Sends a request and waits for its reply, up to the request time limit of the options.
    ///
    /// @param operation  What to call this in the exception.
    ///
    /// @throws connection_failed  There is no reply.
    received_message request(
        std::string_view operation, std::string const& subject, std::string_view bytes)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// Sends what is buffered and waits until the server has processed it; returns whether it did
    /// so within `limit`.
    bool flush(std::chrono::milliseconds limit) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Refuses requests from now on; the first step of close().
    void begin_close() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Ends the session. Waits for requests of other threads, at most the request time limit of the
    /// options, and up to 0.5 s for unsent data.
    void close() CORVEL_HUB_EXCLUDES(m_mutex);

    /// Returns whether a token could not be obtained, a subscription was refused or a publication
    /// failed.
    bool has_failed() const;

    /// Returns what the session was opened with.
    connect_options const& options() const;

    /// Returns whether a message arrived through this session.
    bool has_received(received_message const& message) const;

    /// Returns whether begin_close() or close() has been called.
    bool is_closed() CORVEL_HUB_EXCLUDES(m_mutex);

private:
    enum class subscription_stage : std::uint8_t {
        opening, ///< Being subscribed.
        open,
        ending, ///< Being unsubscribed.
        parked, ///< Unsubscribed; a message may still be in flight.
    };

    struct owned_subscription {
        void* owner = nullptr; // the closure
        // Shared, so that one thread can end a subscription while another lets go of it. Points to
        // null while opening.
        std::shared_ptr<nats_subscription> handle;
        subscription_stage stage = subscription_stage::opening;
        std::uint64_t flush = 0; // the running flush that proves that none is in flight; 0: none
    };
    using subscription_list = std::vector<owned_subscription>;
    using failure_mark = std::atomic<bool>;

    nats_session_settings const m_settings;
    connection_events const m_events{};
    std::shared_ptr<callback_registration> const m_owner;
    // Shared with the token callback, which must not take locks and may outlive the session.
    std::shared_ptr<failure_mark> const m_failed = std::make_shared<failure_mark>(false);
    std::shared_ptr<token_parameters> const m_token;
    callback_registration m_token_callbacks; // withdrawn when closing, as the owner's

    // In this order, so that the destructor releases them in the opposite one.
    nats_options m_options;
    nats_connection m_connection;

    std::mutex m_mutex;
    std::condition_variable m_request_ended;
    subscription_list m_subscriptions CORVEL_HUB_GUARDED_BY(m_mutex);
    std::uint64_t m_last_flush CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    int m_running_requests CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    bool m_closing CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    // The watch's thread alone uses the counts. The watch is the last member: it reads the others.
    std::map<std::weak_ptr<nats_subscription>, std::int64_t, std::owner_less<>> m_dropped_messages;
    std::optional<link_watch> m_link_watch;

    nats_session(
        nats_session_settings settings,
        connection_events events,
        std::shared_ptr<callback_registration> owner);

    options_result make_options();
    void subscribe(
        subscription_kind const& kind,
        std::string const& subject,
        natsMsgHandler entrance,
        void* closure) CORVEL_HUB_EXCLUDES(m_mutex);
    natsStatus try_publish(std::string const& subject, std::string_view bytes);
    connection_failed failure(
        std::string_view operation, natsStatus status, std::string_view subject) const;
    void end_subscriptions(void const* owner) CORVEL_HUB_EXCLUDES(m_mutex);
    std::shared_ptr<nats_subscription> begin_subscribing(void* owner) CORVEL_HUB_EXCLUDES(m_mutex);
    std::shared_ptr<nats_subscription> begin_ending(void const* owner) CORVEL_HUB_EXCLUDES(m_mutex);
    void enter_stage(
        std::shared_ptr<nats_subscription> const& subscription, subscription_stage stage)
        CORVEL_HUB_EXCLUDES(m_mutex);
    void forget(std::shared_ptr<nats_subscription> const& subscription)
        CORVEL_HUB_EXCLUDES(m_mutex);
    std::uint64_t begin_flush(subscription_list& finished) CORVEL_HUB_EXCLUDES(m_mutex);
    void end_flush(std::uint64_t number, bool is_proof, subscription_list& finished)
        CORVEL_HUB_EXCLUDES(m_mutex);
    natsStatus begin_request() CORVEL_HUB_EXCLUDES(m_mutex);
    void end_request() CORVEL_HUB_EXCLUDES(m_mutex);
    void wait_for_requests() CORVEL_HUB_EXCLUDES(m_mutex);
    void prepare_link_watch();
    link_reading read_link() CORVEL_HUB_EXCLUDES(m_mutex);
    std::uint64_t count_dropped_messages() CORVEL_HUB_EXCLUDES(m_mutex);
    std::vector<std::shared_ptr<nats_subscription>> subscribed() CORVEL_HUB_EXCLUDES(m_mutex);
};

} // namespace arvenhold::corvel::hub
