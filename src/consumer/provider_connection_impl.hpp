// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "consumer/consumer_link.hpp"
#include "consumer/consumer_variable_set.hpp"
#include "protocol/builder.hpp"
#include "protocol/definition_codec.hpp"
#include "protocol/variables_codec.hpp"
#include "runtime/nats_session.hpp"
#include <hub/consumer_variable.hpp>
#include <hub/detail/thread_annotations.hpp>
#include <hub/provider_connection.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// State and operations of a connection to one provider.
///
/// Application threads run the public operations; delivery threads of the NATS client run the two
/// handlers, and the consumer's, which reports the provider's availability.
///
/// 1. The lock is held for short accesses to the state and to variables, never over a call of the
///    NATS client, decoding or a callback. Work runs on a copy of the pointer to the map.
/// 2. The map is replaced, never changed; it is null once disconnected, whatever the state is then.
/// 3. Nothing leads back from `disconnected` and `faulted` to `connected`.
/// 4. After values were applied, the state is checked again: a fault that came in between leaves
///    every quality bad.
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

    // -- what the consumer uses -------------------------------------------------------------------

    bool belongs_to(std::shared_ptr<nats_session> const& session) const;

    // -- what its callbacks use -------------------------------------------------------------------

    std::string const& get_client_name() const;

    // -- definition -------------------------------------------------------------------------------

    /// Fetches the definition and subscribes to changes; the last step of creating a connection.
    ///
    /// @param self  The connection, which its callbacks keep alive while they run.
    void open(std::shared_ptr<provider_connection> const& self) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Adopts the definition of a reply or an event, unless it is the one that is held.
    void deserialize_provider_definition(received_message const& message, bool is_event)
        CORVEL_HUB_EXCLUDES(m_mutex);

    void recv_definition_changed_sub_handler(received_message message) CORVEL_HUB_EXCLUDES(m_mutex);

    // -- data -------------------------------------------------------------------------------------

    /// Applies a change event and calls the application's callback.
    void deserialize_variable_update(received_message const& message) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Writes the command with the local values of the given variables.
    static void serialize_write_command(
        message_builder& builder,
        consumer_variable_set const& variables,
        definition_fingerprint fingerprint,
        std::vector<variable_id> const& ids);

    void recv_variables_changed_sub_handler(received_message message) CORVEL_HUB_EXCLUDES(m_mutex);

private:
    using shared_variables = std::shared_ptr<consumer_variable_set>;

    struct event_callback {
        connection_event_callback function = nullptr;
        void* user_data = nullptr;
    };

    struct change_callback {
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
    change_callback m_change_callback CORVEL_HUB_GUARDED_BY(m_mutex);
    event_callback m_event_callback CORVEL_HUB_GUARDED_BY(m_mutex);
    definition_fingerprint m_fingerprint CORVEL_HUB_GUARDED_BY(m_mutex) = 0;
    shared_variables m_variables CORVEL_HUB_GUARDED_BY(m_mutex) =
        std::make_shared<consumer_variable_set>();
    std::uint64_t m_latest_event CORVEL_HUB_GUARDED_BY(m_mutex) = 0; // 0: none yet
    std::shared_ptr<callback_registration> m_callbacks CORVEL_HUB_GUARDED_BY(m_mutex);

    // connection_lifecycle.cpp
    void subscribe_to_changes(std::shared_ptr<provider_connection> const& self)
        CORVEL_HUB_EXCLUDES(m_mutex);

    // connection_state.cpp
    event_callback record_availability(provider_connection_event event)
        CORVEL_HUB_EXCLUDES(m_mutex);
    event_callback get_event_callback() CORVEL_HUB_EXCLUDES(m_mutex);
    static void mark_bad(consumer_variable_set const& variables);
    void mark_all_variables_bad() CORVEL_HUB_REQUIRES(m_mutex);
    void require_connected(std::string_view refusal) CORVEL_HUB_REQUIRES(m_mutex);
    void require_held(definition_fingerprint fingerprint) CORVEL_HUB_REQUIRES(m_mutex);
    decode_context context_for(std::string_view operation) const;
    received_message request_or_fault(
        std::string_view operation, std::string const& subject, std::string_view bytes)
        CORVEL_HUB_EXCLUDES(m_mutex);

    // connection_definition.cpp
    void adopt(received_definition definition) CORVEL_HUB_EXCLUDES(m_mutex);
    void withdraw_definition() CORVEL_HUB_EXCLUDES(m_mutex);
    void adopt_definition_event(received_message const& message) CORVEL_HUB_EXCLUDES(m_mutex);
    bool holds_definition() CORVEL_HUB_EXCLUDES(m_mutex);

    // connection_reading.cpp
    void apply_read_reply(
        received_message const& reply,
        consumer_variable_set const& variables,
        definition_fingerprint fingerprint,
        std::uint64_t latest_event_at_request);
    void keep_bad_unless_connected(consumer_variable_set const& variables)
        CORVEL_HUB_EXCLUDES(m_mutex);

    // connection_change_events.cpp
    static void apply_change_event(
        received_variables& received,
        consumer_variable_set const& variables,
        std::uint64_t event_number,
        std::vector<variable_id>* changed);
    change_callback finish_change_event(consumer_variable_set const& variables)
        CORVEL_HUB_EXCLUDES(m_mutex);
};

/// Returns the variable with the given id.
///
/// @throws variable_index_invalid  There is none; `function` becomes part of the text.
consumer_variable::impl& require_variable(
    consumer_variable_set const& variables, variable_id id, std::string_view function);

} // namespace arvenhold::corvel::hub
