// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "provider/provider_impl.hpp"

#include "protocol/subjects.hpp"
#include "runtime/diagnostics.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/variable_list.hpp>

#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

provider::impl::impl(provider& self, std::string const& identifier)
    : m_self{self}
    , m_identifier{identifier}
    , m_definition_subject{definition_changed_subject(identifier)}
    , m_change_event_subject{variables_changed_subject(identifier)}
    , m_read_request_subject{variables_query_subject(identifier)}
    , m_write_command_subject{variables_write_subject(identifier)}
    , m_registry_state_subject{registry_state_subject}
    , m_verdict_subject{registry_definition_changed_subject(identifier)} {}

void provider::impl::connect(
    std::string const& nats_url,
    std::string const& token_url,
    std::string const& client_id,
    std::string const& client_secret,
    connect_options const& options) {
    if (options.get_delivery_pool_size() != 0) {
        // The wait for a verdict that begins on a thread of the pool would block the verdict.
        throw std::invalid_argument{"connect_options: delivery_pool_size must be 0 for a provider"};
    }
    {
        std::scoped_lock const lock{m_state_mutex};
        if (m_connected) {
            return;
        }
        open_session(
            {.kind = kind,
             .client_name = m_identifier,
             .server_url = nats_url,
             .token_endpoint = token_url,
             .client_id = client_id,
             .client_secret = client_secret,
             .scope = provider_scope,
             .options = options});
    }
    post_connect_handler();
}

void provider::impl::open_session(nats_session_settings settings) {
    auto const callbacks =
        std::make_shared<callback_registration_of<impl>>(m_gate, weak_from_this());
    auto const session = std::make_shared<nats_session>(std::move(settings), callbacks);
    change_current({session, m_current->list, m_current->definition, m_current->fingerprint});
    session->connect();
    m_connected = true;
    session->subscribe<read_request_subscription, &impl::variable_read_request_sub_handler>(
        m_read_request_subject, *callbacks);
    session->subscribe<write_command_subscription, &impl::variable_write_command_sub_handler>(
        m_write_command_subject, *callbacks);
    session->subscribe<registry_state_subscription, &impl::registry_state_event_sub_handler>(
        m_registry_state_subject, *callbacks);
    session->subscribe<
        verdict_subscription,
        &impl::provider_definition_event_sub_handler,
        &impl::announce_verdict>(m_verdict_subject, *callbacks);
}

void provider::impl::post_connect_handler() {
    if (m_registered) {
        publish_provider_definition();
        publish(std::chrono::system_clock::now());
    }
}

void provider::impl::nats_dcon_callback() {
    // Intended: the provider stays connected; the NATS client reconnects by itself.
    if (m_connected) {
        report(
            diagnostic_severity::warning,
            m_identifier,
            {"Warning: Provider has lost connection to NATS server!"});
    }
}

void provider::impl::nats_recon_callback() {
    try {
        post_connect_handler();
        report(
            diagnostic_severity::information,
            m_identifier,
            {"Provider has reconnected to NATS server!"});
    } catch (std::exception const& error) {
        report(
            diagnostic_severity::error,
            m_identifier,
            {"Failed to execute provider::post_connect_handler(): ", error.what()});
    }
}

void provider::impl::disconnect() {
    std::shared_ptr<nats_session> ended;
    {
        std::scoped_lock const lock{m_state_mutex};
        if (m_connected || has_failed()) {
            ended = forget_session();
        }
    }
    if (!ended) {
        report(
            diagnostic_severity::error,
            m_identifier,
            {"Provider ",
             m_identifier,
             ": cannot disconnect from NATS, not currently connected or in connection failed "
             "state"});
        return;
    }
    ended->begin_close();
    wake_waits(); // those of this session find it closed
    destroy_connection(ended);
}

void provider::impl::destroy_connection(std::shared_ptr<nats_session> const& session) {
    if (session) {
        session->close();
    }
}

// What can fail comes first: after a failure the session is still there to be ended.
std::shared_ptr<nats_session> provider::impl::forget_session() {
    if (m_current->list) {
        m_current->list->mark_list_as_stale();
    }
    m_connected = false;
    return forget_current()->session;
}

provider::impl::shared_snapshot provider::impl::forget_current() {
    m_registered = false;
    m_accepted = false;
    return std::exchange(m_current, m_nothing);
}

void provider::impl::shut_down() {
    if (m_connected) {
        disconnect();
    }
    m_gate->shut();
    mark_gone();
    std::scoped_lock const lock{m_state_mutex};
    forget_current();
}

bool provider::impl::is_connected() {
    std::scoped_lock const lock{m_state_mutex};
    return is_usable();
}

void provider::impl::set_variables_written_callback(
    variables_written_callback callback, void* user_data) {
    std::scoped_lock const lock{m_state_mutex};
    m_write_callback = {callback, user_data};
}

std::string const& provider::impl::get_client_name() const {
    return m_identifier;
}

std::string const& provider::impl::get_identifier() const {
    return m_identifier;
}

bool provider::impl::has_failed() const {
    return m_current->session && m_current->session->has_failed();
}

bool provider::impl::is_usable() const {
    return m_connected && !has_failed();
}

void provider::impl::require_usable(std::string_view operation) const {
    if (is_usable()) {
        return;
    }
    if (has_failed()) {
        throw connection_failed::connection_lost(kind, m_identifier, operation);
    }
    throw connection_failed::not_connected(kind, m_identifier, operation);
}

void provider::impl::throw_state_invalid(std::string_view detail) const {
    throw operational_state_invalid::for_client(kind, m_identifier, detail);
}

void provider::impl::change_current(snapshot replacement) {
    m_current = std::make_shared<snapshot const>(std::move(replacement));
}

provider::impl::shared_snapshot provider::impl::get_snapshot() {
    std::scoped_lock const lock{m_state_mutex};
    return m_current;
}

} // namespace arvenhold::corvel::hub
