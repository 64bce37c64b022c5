// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/builder.hpp"
#include "runtime/nats_session.hpp"
#include <hub/authentication_failed.hpp>
#include <hub/consumer.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// Why no connection to a provider can be made.
inline constexpr std::string_view consumer_not_connected =
    "cannot set up a connection with a provider: not currently connected to the corvel-hub";

/// What a connection needs of its consumer. A copy of its own, so that the connection may outlive
/// the consumer; the session is closed by then and refuses everything.
struct consumer_link {
    std::string name;
    bool read_only = false;
    std::shared_ptr<callback_gate> gate;
    std::shared_ptr<nats_session> session; ///< Null when the consumer is not connected.
};

/// State and operations of a consumer. Shared by the consumer and, for the length of one call each,
/// by callbacks of the NATS client.
///
/// Application threads run the public operations; the NATS client's threads run the handler of
/// provider lists and the two connection event callbacks.
///
/// 1. Lock order: consumer, then connection, then variable; the lock of the identifiers is taken
///    last and for a copy only.
/// 2. The consumer's lock is held over calls of the NATS client only in connect(), the first
///    request for the list of providers included. Connections are told, and the application is
///    called, with no lock held.
class CORVEL_HUB_INTERNAL consumer::impl : public std::enable_shared_from_this<impl> {
public:
    using identifier_set = std::set<std::string>;

    impl(
        consumer& self,
        std::string name,
        bool read_only,
        providers_changed_callback providers_changed,
        void* user_data);
    impl(impl const&) = delete;
    impl& operator=(impl const&) = delete;
    ~impl() = default;

    // -- what the public class offers -------------------------------------------------------------

    void connect(
        std::string const& nats_url,
        std::string const& token_endpoint,
        std::string const& client_id,
        std::string const& client_secret,
        connect_options const& options);
    void disconnect() CORVEL_HUB_EXCLUDES(m_mutex);
    bool is_connected() CORVEL_HUB_EXCLUDES(m_mutex);
    std::shared_ptr<identifier_set> get_provider_identifiers()
        CORVEL_HUB_EXCLUDES(m_identifiers_mutex);
    std::shared_ptr<provider_connection> attach_to_provider(std::string const& provider_id)
        CORVEL_HUB_EXCLUDES(m_mutex);

    /// What the destructor of the public class does: afterwards no callback runs, neither of this
    /// consumer nor of its connections.
    void shut_down() CORVEL_HUB_EXCLUDES(m_mutex);

    // -- what connections ask for -----------------------------------------------------------------

    consumer_link link() CORVEL_HUB_EXCLUDES(m_mutex);

    // -- session ----------------------------------------------------------------------------------

    /// Ends a session, if there is one.
    static void destroy_connection(std::shared_ptr<nats_session> const& session);

    /// Notes that no token could be fetched for a session. Takes no lock: the NATS client holds its
    /// own meanwhile.
    static void token_handler_failed_callback(
        authentication_failed const& error, std::atomic<bool>& token_failed);

    /// Requests the list of providers, after connecting and after every reconnect. Takes over the
    /// mutex when it is `already_locked`; never holds it on return.
    ///
    /// @return whether the consumer is connected; it may have been disconnected meanwhile.
    bool post_connect_handler(bool already_locked);

    static void nats_dcon_callback(natsConnection* connection, void* closure);
    static void nats_recon_callback(natsConnection* connection, void* closure);

    // -- list of providers ------------------------------------------------------------------------

    /// Returns the identifiers in a reply or an event.
    std::shared_ptr<identifier_set> deserialize_provider_list(
        nats_message const& message, bool is_event) const;

    static void recv_providers_sub_handler(
        natsConnection* connection,
        natsSubscription* subscription,
        natsMsg* message,
        void* closure);

private:
    using connection_map = std::map<std::string, std::shared_ptr<provider_connection>>;

    struct providers_listener {
        providers_changed_callback function = nullptr;
        void* user_data = nullptr;
    };

    // The connections to tell about a new list.
    struct presence_changes {
        std::vector<std::shared_ptr<provider_connection>> lost;
        std::vector<std::shared_ptr<provider_connection>> returned;
    };

    // Fixed at construction.
    consumer& m_self; // for callbacks and new connections; not used once shut_down() has returned
    std::string const m_name;
    bool const m_read_only;
    providers_listener const m_listener;
    std::string const m_providers_query_subject;
    std::string const m_providers_changed_subject;
    message_builder m_providers_query{initial_builder_size}; // finished in the constructor
    std::shared_ptr<callback_gate> const m_gate = std::make_shared<callback_gate>();

    // Read without the lock by the callbacks, where a value that is about to change does no harm.
    std::atomic<bool> m_connected{false};

    std::mutex m_mutex;
    std::shared_ptr<nats_session> m_session CORVEL_HUB_GUARDED_BY(m_mutex);
    connection_map m_attached_connections CORVEL_HUB_GUARDED_BY(m_mutex);
    identifier_set m_lost_providers CORVEL_HUB_GUARDED_BY(m_mutex);
    std::uint64_t m_list_events CORVEL_HUB_GUARDED_BY(m_mutex) = 0;

    // Has a lock of its own because m_mutex is held while connecting.
    std::mutex m_identifiers_mutex CORVEL_HUB_ACQUIRED_AFTER(m_mutex);
    std::shared_ptr<identifier_set> m_provider_identifiers
        CORVEL_HUB_GUARDED_BY(m_identifiers_mutex) = std::make_shared<identifier_set>();

    // lifecycle.cpp
    void open_session(session_settings settings, std::atomic<bool> const& token_failed)
        CORVEL_HUB_REQUIRES(m_mutex);
    void drop_session() CORVEL_HUB_REQUIRES(m_mutex);
    nats_message request_provider_list(nats_session& session) const;
    std::shared_ptr<provider_connection> find_attached(std::string const& provider_id)
        CORVEL_HUB_EXCLUDES(m_mutex);
    std::shared_ptr<provider_connection> keep(
        std::string const& provider_id, std::shared_ptr<provider_connection> const& connection)
        CORVEL_HUB_EXCLUDES(m_mutex);

    // provider_list.cpp
    void replace_identifiers(std::shared_ptr<identifier_set> identifiers)
        CORVEL_HUB_EXCLUDES(m_identifiers_mutex);
    void take_provider_list_event(nats_message const& message, natsConnection const* source)
        CORVEL_HUB_EXCLUDES(m_mutex);
    presence_changes record_presence(identifier_set const& identifiers)
        CORVEL_HUB_REQUIRES(m_mutex);
};

} // namespace arvenhold::corvel::hub
