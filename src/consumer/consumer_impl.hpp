// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "consumer/consumer_link.hpp"
#include "protocol/builder.hpp"
#include "runtime/nats_session.hpp"
#include <hub/consumer.hpp>
#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// State and operations of a consumer. Shared by the consumer and, for the length of one call each,
/// by callbacks of the NATS client.
///
/// Application threads run the public operations; the NATS client's threads run the handler of
/// provider lists and the two connection event callbacks.
///
/// 1. Lock order: consumer, then connection, then variable; the lock of the identifiers is taken
///    last and for a copy only.
/// 2. The consumer's lock is held over calls of the NATS client only in connect(), the first
///    request for the list of providers included. Connections are notified, and the application is
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

    // -- what connections use ---------------------------------------------------------------------

    consumer_link link() CORVEL_HUB_EXCLUDES(m_mutex);

    // -- session ----------------------------------------------------------------------------------

    static constexpr auto kind = client_kind::consumer;

    std::string const& get_client_name() const;

    /// Ends a session, if there is one.
    static void destroy_connection(std::shared_ptr<nats_session> const& session);

    /// Requests the list of providers after a reconnect.
    ///
    /// @return whether the consumer is connected; it may have been disconnected meanwhile.
    bool post_connect_handler() CORVEL_HUB_EXCLUDES(m_mutex);

    void nats_dcon_callback();
    void nats_recon_callback();

    // -- list of providers ------------------------------------------------------------------------

    /// Returns the identifiers in a reply or an event.
    std::shared_ptr<identifier_set> deserialize_provider_list(
        received_message const& message, bool is_event) const;

    void recv_providers_sub_handler(received_message message) CORVEL_HUB_EXCLUDES(m_mutex);

private:
    using connection_map = std::map<std::string, std::shared_ptr<provider_connection>>;

    struct providers_callback {
        providers_changed_callback function = nullptr;
        void* user_data = nullptr;
    };

    // The connections that a new list concerns.
    struct availability_changes {
        std::vector<std::shared_ptr<provider_connection>> lost;
        std::vector<std::shared_ptr<provider_connection>> returned;
    };

    // Fixed at construction.
    consumer& m_self; // for callbacks and new connections; not used once shut_down() has returned
    std::string const m_name;
    bool const m_read_only;
    providers_callback const m_providers_callback;
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

    // consumer_lifecycle.cpp
    void open_session(nats_session_settings settings) CORVEL_HUB_REQUIRES(m_mutex);
    void fetch_first_list() CORVEL_HUB_REQUIRES(m_mutex);
    std::pair<std::shared_ptr<nats_session>, std::uint64_t> get_session_and_list_events()
        CORVEL_HUB_EXCLUDES(m_mutex);
    received_message request_provider_list(nats_session& session) const;
    std::shared_ptr<provider_connection> find_attached(std::string const& provider_id)
        CORVEL_HUB_EXCLUDES(m_mutex);
    std::shared_ptr<provider_connection> keep(
        std::string const& provider_id, std::shared_ptr<provider_connection> const& connection)
        CORVEL_HUB_EXCLUDES(m_mutex);

    // consumer_provider_list.cpp
    void replace_identifiers(std::shared_ptr<identifier_set> identifiers)
        CORVEL_HUB_EXCLUDES(m_identifiers_mutex);
    std::optional<availability_changes> adopt_list_event(
        received_message const& message, std::shared_ptr<identifier_set> const& identifiers)
        CORVEL_HUB_EXCLUDES(m_mutex);
    availability_changes record_availability(identifier_set const& identifiers)
        CORVEL_HUB_REQUIRES(m_mutex);
    void notify_connections(availability_changes const& changes);
};

} // namespace arvenhold::corvel::hub
