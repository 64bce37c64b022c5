// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "locks/small_mutex.hpp"
#include "model/provider_link.hpp"
#include "protocol/builder.hpp"
#include "protocol/definition_codec.hpp"
#include "runtime/nats_session.hpp"
#include <hub/detail/thread_annotations.hpp>
#include <hub/provider.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// State and operations of a provider. Shared by the provider, its lists, and callbacks of the NATS
/// client while they run; a list or callback that is late finds it disconnected.
///
/// Application threads run the public operations; the NATS client's threads run the handlers and
/// the two connection event callbacks.
///
/// 1. Lock order: definition sending or validity, then state, then list, then variable.
/// 2. The state lock is held over a call of the NATS client only in connect().
/// 3. Session, list, definition message and fingerprint are replaced together, so that one
///    reference keeps what a thread uses without the lock.
/// 4. A session that was refused stays the current one, because it knows whether a token was
///    missing; the provider is not connected then.
class CORVEL_HUB_INTERNAL provider::impl : public provider_link,
                                           public std::enable_shared_from_this<impl> {
public:
    impl(provider& self, std::string const& identifier);
    impl(impl const&) = delete;
    impl& operator=(impl const&) = delete;
    ~impl() override = default;

    // -- what the public class offers -------------------------------------------------------------

    void connect(
        std::string const& nats_url,
        std::string const& token_url,
        std::string const& client_id,
        std::string const& client_secret,
        connect_options const& options);
    void disconnect() CORVEL_HUB_EXCLUDES(m_state_mutex);
    bool is_connected() CORVEL_HUB_EXCLUDES(m_state_mutex);
    bool is_definition_accepted() CORVEL_HUB_EXCLUDES(m_state_mutex);
    std::shared_ptr<variable_list> register_provider_definition(provider_definition& definition)
        CORVEL_HUB_EXCLUDES(m_state_mutex);
    std::shared_ptr<variable_list> get_variable_list() CORVEL_HUB_EXCLUDES(m_state_mutex);
    void force_publish_all(timestamp when) CORVEL_HUB_EXCLUDES(m_state_mutex);
    void set_variables_written_callback(variables_written_callback callback, void* user_data)
        CORVEL_HUB_EXCLUDES(m_state_mutex);

    /// What the destructor of the public class does: afterwards no callback runs.
    void shut_down() CORVEL_HUB_EXCLUDES(m_state_mutex);

    // -- what lists use ---------------------------------------------------------------------------

    std::string const& get_identifier() const override;
    definition_fingerprint get_fingerprint() override CORVEL_HUB_EXCLUDES(m_state_mutex);
    void publish(timestamp when) override CORVEL_HUB_EXCLUDES(m_state_mutex);

    // -- session ----------------------------------------------------------------------------------

    static constexpr auto kind = client_kind::provider;

    std::string const& get_client_name() const;

    /// Ends a session, if there is one. Called without the state lock, which handlers that are
    /// running may want.
    static void destroy_connection(std::shared_ptr<nats_session> const& session);

    /// Announces what is registered, after connecting and after every reconnect.
    void post_connect_handler() CORVEL_HUB_EXCLUDES(m_state_mutex);

    void nats_dcon_callback();
    void nats_recon_callback();

    // -- registration -----------------------------------------------------------------------------

    /// Sends the definition message and waits for the registry's verdict.
    void publish_provider_definition() CORVEL_HUB_EXCLUDES(m_state_mutex, m_validity_mutex);

    /// Makes every wait for a verdict check its condition again. Called when a session ends, perhaps
    /// late: only the waits of a closed session end.
    void wake_waits() CORVEL_HUB_EXCLUDES(m_validity_mutex);

    definition_verdict deserialize_provider_definition_validity(std::string_view message) const;
    bool deserialize_registry_state(std::string_view message) const; ///< Whether it is ready.

    void provider_definition_event_sub_handler(received_message message)
        CORVEL_HUB_EXCLUDES(m_state_mutex, m_validity_mutex);
    void registry_state_event_sub_handler(received_message message);

    // -- publishing -------------------------------------------------------------------------------

    /// Writes everything pending as one change event and leaves nothing pending.
    static void serialize_publish_variables(
        message_builder& builder,
        timestamp when,
        definition_fingerprint fingerprint,
        std::shared_ptr<variable_list> const& list);

    // -- serving ----------------------------------------------------------------------------------

    /// Writes the reply with those of the requested variables that exist.
    static void serialize_requested_variables(
        message_builder& builder,
        definition_fingerprint fingerprint,
        std::vector<variable_id> const& ids,
        std::shared_ptr<variable_list> const& list);

    /// Returns the command; nothing if its fingerprint is not the expected one.
    std::optional<variable_write_command> deserialize_write_command(
        std::string_view message, definition_fingerprint expected_fingerprint) const;

    void variable_read_request_sub_handler(received_message message)
        CORVEL_HUB_EXCLUDES(m_state_mutex);
    void variable_write_command_sub_handler(received_message message)
        CORVEL_HUB_EXCLUDES(m_state_mutex);

private:
    using definition_message = std::shared_ptr<message_builder const>;

    // What a thread needs of the state to do something slow without the lock.
    struct snapshot {
        std::shared_ptr<nats_session> session;
        std::shared_ptr<variable_list> list;
        definition_message definition;
        definition_fingerprint fingerprint = 0;
    };
    using shared_snapshot = std::shared_ptr<snapshot const>;

    struct write_callback {
        variables_written_callback function = nullptr;
        void* user_data = nullptr;
    };

    // Fixed at construction.
    provider& m_self; // for callbacks and new lists; not used once shut_down() has returned
    std::string const m_identifier;
    std::string const m_definition_subject;
    std::string const m_change_event_subject;
    std::string const m_read_request_subject;
    std::string const m_write_command_subject;
    std::string const m_registry_state_subject;
    std::string const m_verdict_subject;
    std::shared_ptr<callback_gate> const m_gate = std::make_shared<callback_gate>();
    shared_snapshot const m_nothing = std::make_shared<snapshot const>();

    // Read without the lock by the callbacks, where a value that is about to change does no harm.
    std::atomic<bool> m_connected{false};
    std::atomic<bool> m_registered{false};

    std::mutex
        m_definition_send_mutex; // keeps definitions on the wire in the order of registration

    std::mutex m_validity_mutex;
    std::condition_variable m_verdict_arrived; // or the session ends for which it is awaited
    std::uint64_t m_verdicts CORVEL_HUB_GUARDED_BY(m_validity_mutex) = 0;

    // Taken by every publication, and held for long only while connecting.
    small_mutex m_state_mutex CORVEL_HUB_ACQUIRED_AFTER(m_validity_mutex, m_definition_send_mutex);
    shared_snapshot m_current CORVEL_HUB_GUARDED_BY(m_state_mutex) = m_nothing; // never null
    definition_verdict m_verdict CORVEL_HUB_GUARDED_BY(m_state_mutex);          // the latest
    bool m_accepted CORVEL_HUB_GUARDED_BY(m_state_mutex) =
        false; // what is_definition_accepted() says
    write_callback m_write_callback CORVEL_HUB_GUARDED_BY(m_state_mutex);

    // lifecycle.cpp
    void open_session(nats_session_settings settings) CORVEL_HUB_REQUIRES(m_state_mutex);
    std::shared_ptr<nats_session> forget_session() CORVEL_HUB_REQUIRES(m_state_mutex);
    shared_snapshot forget_current() CORVEL_HUB_REQUIRES(m_state_mutex);
    bool has_failed() const CORVEL_HUB_REQUIRES(m_state_mutex);
    bool is_usable() const CORVEL_HUB_REQUIRES(m_state_mutex);
    void require_usable(std::string_view operation) const CORVEL_HUB_REQUIRES(m_state_mutex);
    [[noreturn]] void throw_state_invalid(std::string_view detail) const;
    void change_current(snapshot replacement) CORVEL_HUB_REQUIRES(m_state_mutex);
    shared_snapshot get_snapshot() CORVEL_HUB_EXCLUDES(m_state_mutex);

    // registration.cpp
    static definition_message serialize_provider_definition(
        variable_list& list, definition_fingerprint fingerprint);
    std::shared_ptr<nats_session> send_definition() CORVEL_HUB_EXCLUDES(m_state_mutex);
    bool wait_for_verdict(
        std::chrono::steady_clock::time_point deadline,
        std::uint64_t verdicts_seen,
        nats_session& session) CORVEL_HUB_REQUIRES(m_validity_mutex);
    std::uint64_t get_verdicts() CORVEL_HUB_EXCLUDES(m_validity_mutex);

    // registry_events.cpp
    void announce_verdict() CORVEL_HUB_EXCLUDES(m_validity_mutex);
    void count_verdict() CORVEL_HUB_REQUIRES(m_validity_mutex);

    // publishing.cpp
    shared_snapshot snapshot_for_publishing() CORVEL_HUB_EXCLUDES(m_state_mutex);

    // write_commands.cpp
    void notify_application(
        definition_fingerprint fingerprint, variable_write_command const& command)
        CORVEL_HUB_EXCLUDES(m_state_mutex);
};

} // namespace arvenhold::corvel::hub
