// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "consumer/consumer_impl.hpp"
#include "consumer/consumer_variable_set.hpp"
#include "protocol/builder.hpp"
#include "protocol/definition_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "runtime/nats_session.hpp"
#include <hub/consumer_variable.hpp>
#include <hub/detail/thread_annotations.hpp>
#include <hub/provider_connection.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// State and operations of a connection to one provider.
///
/// Application threads run the public operations; delivery threads of the NATS client run the two
/// handlers, and its consumer's tells about the provider's presence.
///
/// 1. The lock is held for short accesses to the state and to variables, never over a call of the
///    NATS client, decoding or a callback. Work runs on a copy of the pointer to the map.
/// 2. The map is replaced, never changed; it is null once disconnected, whatever the state is then.
/// 3. Nothing leads back from `disconnected` and `faulted` to `connected`.
class CORVEL_HUB_INTERNAL provider_connection::impl {
public:
    impl(provider_connection& self, std::string const& provider_id, consumer_link link);
    impl(impl const&) = delete;
    impl& operator=(impl const&) = delete;
    ~impl() = default;

    // -- what the public class offers -------------------------------------------------------------

    void read_variables(definition_fingerprint fingerprint, std::vector<variable_id> const& ids)
        CORVEL_HUB_EXCLUDES(m_mutex);
    void update_all_variables() CORVEL_HUB_EXCLUDES(m_mutex);
    void write_variables(definition_fingerprint fingerprint, std::vector<variable_id> const& ids)
        CORVEL_HUB_EXCLUDES(m_mutex);
    current_variables get_current_variables() CORVEL_HUB_EXCLUDES(m_mutex);
    std::vector<variable_id> get_updated_variables_since(
        definition_fingerprint fingerprint, timestamp since) CORVEL_HUB_EXCLUDES(m_mutex);
    provider_connection_state get_state() CORVEL_HUB_EXCLUDES(m_mutex);
    std::string const& get_provider_identifier() const;
    void set_event_callback(connection_event_callback callback, void* user_data)
        CORVEL_HUB_EXCLUDES(m_mutex);
    void set_variables_changed_callback(variables_changed_callback callback, void* user_data)
        CORVEL_HUB_EXCLUDES(m_mutex);
    void set_provider_availability(provider_connection_event event) CORVEL_HUB_EXCLUDES(m_mutex);
    void set_fault_state() CORVEL_HUB_EXCLUDES(m_mutex);
    void request_provider_definition() CORVEL_HUB_EXCLUDES(m_mutex);
    void disconnect() CORVEL_HUB_EXCLUDES(m_mutex);

    // -- what the consumer asks for ---------------------------------------------------------------

    bool belongs_to(std::shared_ptr<nats_session> const& session) const;

    // -- definition -------------------------------------------------------------------------------

    /// Fetches the definition and subscribes to changes; the last step of creating a connection.
    ///
    /// @param self  The connection, which its callbacks keep alive while they run.
    void open(std::shared_ptr<provider_connection> const& self) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Takes over the definition of a reply or an event, unless it is the one that is held.
    void deserialize_provider_definition(nats_message const& message, bool is_event)
        CORVEL_HUB_EXCLUDES(m_mutex);

    static void recv_definition_changed_sub_handler(
        natsConnection* connection,
        natsSubscription* subscription,
        natsMsg* message,
        void* closure);

    // -- data -------------------------------------------------------------------------------------

    /// Applies a change event and tells the application.
    void deserialize_variable_update(nats_message const& message) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Writes the command with the local values of the given variables.
    static void serialize_write_command(
        message_builder& builder,
        consumer_variable_set const& variables,
        definition_fingerprint fingerprint,
        std::vector<variable_id> const& ids);

    static void recv_variables_changed_sub_handler(
        natsConnection* connection,
        natsSubscription* subscription,
        natsMsg* message,
        void* closure);

private:
    using shared_variables = std::shared_ptr<consumer_variable_set>;

    struct event_listener {
        connection_event_callback function = nullptr;
        void* user_data = nullptr;
    };

    struct change_listener {
        variables_changed_callback function = nullptr;
        void* user_data = nullptr;
    };

    // Fixed at construction.
    provider_connection& m_self;
    std::string const m_provider_id;
    consumer_link const m_link;
    std::string const m_read_subject;
    std::string const m_write_subject;
    std::string const m_definition_query_subject;
    std::string const m_definition_changed_subject;
    std::string const m_variables_changed_subject;

    std::mutex m_mutex;
    provider_connection_state m_state CORVEL_HUB_GUARDED_BY(m_mutex) =
        provider_connection_state::connected;
    change_listener m_change_listener CORVEL_HUB_GUARDED_BY(m_mutex);
    event_listener m_event_listener CORVEL_HUB_GUARDED_BY(m_mutex);
    definition_fingerprint m_fingerprint CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    shared_variables m_variables CORVEL_HUB_GUARDED_BY(m_mutex) =
        std::make_shared<consumer_variable_set>();
    std::unique_ptr<callback_registration> m_callbacks CORVEL_HUB_GUARDED_BY(m_mutex);
    natsSubscription* m_definition_subscription CORVEL_HUB_GUARDED_BY(m_mutex) = nullptr;
    natsSubscription* m_variables_subscription CORVEL_HUB_GUARDED_BY(m_mutex) = nullptr;

    // provider_connection.cpp
    void subscribe_to_changes(std::shared_ptr<provider_connection> const& self)
        CORVEL_HUB_EXCLUDES(m_mutex);
    natsSubscription* subscribe_or_fault(
        std::string const& subject,
        natsMsgHandler handler,
        void* closure,
        std::string_view operation);

    // connection_definition.cpp
    void adopt(received_definition const& definition) CORVEL_HUB_EXCLUDES(m_mutex);
    void withdraw_definition() CORVEL_HUB_EXCLUDES(m_mutex);
    void take_definition_event(nats_message const& message) CORVEL_HUB_EXCLUDES(m_mutex);
    bool holds_definition() CORVEL_HUB_EXCLUDES(m_mutex);

    // connection_state.cpp
    event_listener record_availability(provider_connection_event event)
        CORVEL_HUB_EXCLUDES(m_mutex);
    event_listener get_event_listener() CORVEL_HUB_EXCLUDES(m_mutex);
    void mark_all_variables_bad() CORVEL_HUB_REQUIRES(m_mutex);
    void require_connected(std::string_view refusal) CORVEL_HUB_REQUIRES(m_mutex);
    void require_held(definition_fingerprint fingerprint) CORVEL_HUB_REQUIRES(m_mutex);
    // Unless the status is NATS_OK, faults the connection and throws connection_failed.
    void require_ok(natsStatus status, std::string_view operation, std::string const& subject)
        CORVEL_HUB_EXCLUDES(m_mutex);
    decode_context context_for(std::string_view operation) const;
    nats_message request_or_fault(
        std::string const& subject, std::string_view bytes, std::string_view operation)
        CORVEL_HUB_EXCLUDES(m_mutex);

    // connection_data.cpp
    void apply_read_reply(
        nats_message const& reply,
        consumer_variable_set const& variables,
        definition_fingerprint fingerprint);
    void take_change_event(nats_message const& message) CORVEL_HUB_EXCLUDES(m_mutex);
};

} // namespace arvenhold::corvel::hub
