// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/subjects.hpp"
#include "provider/provider_impl.hpp"
#include "runtime/callback_boundary.hpp"
#include "runtime/operation_names.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>
#include <hub/variable_list.hpp>

#include <array>
#include <optional>
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

// Not analysed: the state mutex passes from here to post_connect_handler().
void provider::impl::connect(
    std::string const& nats_url,
    std::string const& token_url,
    std::string const& client_id,
    std::string const& client_secret,
    connect_options const& options) CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_state_mutex};
    if (m_connected) {
        return;
    }
    m_failed = std::make_shared<failure_mark>(false);
    auto const report_failure = [failed = m_failed](authentication_failed const& error) {
        token_handler_failed_callback(error, *failed);
    };
    auto token = std::make_shared<token_parameters const>(token_parameters{
        m_identifier,
        token_url,
        client_id,
        client_secret,
        std::string{provider_scope},
        report_failure});
    open_session(
        {nats_url,
         m_identifier,
         inbox_prefix(m_identifier),
         std::move(token),
         &connection_event_entrance<&impl::nats_recon_callback>,
         &connection_event_entrance<&impl::nats_dcon_callback>,
         options});
    subscribe_to_all();
    lock.release();
    post_connect_handler(true);
}

void provider::impl::open_session(session_settings settings) {
    auto const url = settings.server_url;
    auto session = std::make_shared<nats_session>(std::move(settings), m_gate, weak_from_this());
    auto const status = session->connect();
    // A server that wants no token lets the client in although no token could be fetched.
    if (status != NATS_OK || *m_failed) {
        session->close();
        throw connection_failed::while_connecting(
            client_kind::provider,
            m_identifier,
            operation_name::connect_to,
            url,
            status,
            text_of(status));
    }
    change_current(
        {std::move(session), m_current->list, m_current->definition, m_current->fingerprint});
    m_connected = true;
}

void provider::impl::subscribe_to_all() {
    auto const fail = [&failed = *m_failed](natsStatus status) {
        failed = true;
        return std::pair{static_cast<int>(status), text_of(status)};
    };
    auto const first = m_current->session->subscribe(
        m_read_request_subject, &message_entrance<&impl::variable_read_request_sub_handler>);
    if (first.status != NATS_OK) {
        auto const [status, text] = fail(first.status);
        // Intended: the only subscription that is reported without its subject.
        throw connection_failed::without_subject(
            client_kind::provider,
            m_identifier,
            operation_name::subscribe_read_request,
            status,
            text);
    }
    struct wanted_subscription {
        std::string const& subject;
        natsMsgHandler handler;
        std::string_view operation;
    };
    std::array<wanted_subscription, 3> const others{{
        {m_write_command_subject,
         &message_entrance<&impl::variable_write_command_sub_handler>,
         operation_name::subscribe_write_command},
        {m_registry_state_subject,
         &message_entrance<&impl::registry_state_event_sub_handler>,
         operation_name::subscribe_registry_state},
        {m_verdict_subject,
         &message_entrance<&impl::provider_definition_event_sub_handler>,
         operation_name::subscribe_verdict},
    }};
    for (auto const& other : others) {
        auto const outcome = m_current->session->subscribe(other.subject, other.handler);
        if (outcome.status != NATS_OK) {
            auto const [status, text] = fail(outcome.status);
            throw connection_failed::on_subject(
                client_kind::provider, m_identifier, other.operation, status, text, other.subject);
        }
    }
}

// Not analysed: takes over the state mutex when it is `already_locked`.
void provider::impl::post_connect_handler(bool already_locked)
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto lock = already_locked ? std::unique_lock{m_state_mutex, std::adopt_lock}
                               : std::unique_lock{m_state_mutex};
    if (!m_registered) {
        return;
    }
    lock.unlock(); // both calls below wait for the network
    publish_provider_definition();
    publish(std::chrono::system_clock::now());
}

void provider::impl::token_handler_failed_callback(
    authentication_failed const& /*error*/, failure_mark& session_failed) {
    session_failed = true;
}

void provider::impl::nats_dcon_callback(natsConnection* /*connection*/, void* closure) {
    if (closure == nullptr) {
        write_error_line({"provider::nats_dcon_callback(): Received empty class instance"});
        return;
    }
    // Intended: the provider stays connected; the NATS client reconnects by itself.
    if (static_cast<impl*>(closure)->m_connected) {
        write_error_line({"Warning: Provider has lost connection to NATS server!"});
    }
}

void provider::impl::nats_recon_callback(natsConnection* /*connection*/, void* closure) {
    if (closure == nullptr) {
        write_error_line({"provider::nats_recon_callback(): Received empty class instance"});
        return;
    }
    try {
        static_cast<impl*>(closure)->post_connect_handler(false);
        write_output_line({"Provider has reconnected to NATS server!"});
    } catch (std::exception const& error) {
        write_error_line({"Failed to execute provider::post_connect_handler(): ", error.what()});
    }
}

void provider::impl::disconnect() {
    std::optional<std::shared_ptr<nats_session>> ended;
    {
        std::scoped_lock const lock{m_state_mutex};
        if (m_connected || *m_failed) {
            ended = forget_session();
        }
    }
    if (!ended) {
        write_error_line(
            {"Provider ",
             m_identifier,
             ": cannot disconnect from NATS, not currently connected or in connection failed "
             "state"});
        return;
    }
    cancel_waits();
    destroy_connection(*ended); // there is none after a refused connect
}

void provider::impl::destroy_connection(std::shared_ptr<nats_session> const& session) {
    if (session) {
        session->close();
    }
}

// All that can fail comes first, so that after a failure the session is there to be ended again.
std::shared_ptr<nats_session> provider::impl::forget_session() {
    auto unmarked = std::make_shared<failure_mark>(false);
    if (m_current->list) {
        m_current->list->mark_list_as_stale();
    }
    m_connected = false;
    m_failed = std::move(unmarked);
    return forget_current()->session;
}

provider::impl::shared_snapshot provider::impl::forget_current() {
    m_registered = false;
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
    m_write_listener = {callback, user_data};
}

std::string const& provider::impl::get_identifier() const {
    return m_identifier;
}

bool provider::impl::is_usable() const {
    return m_connected && !*m_failed;
}

void provider::impl::mark_failed(std::shared_ptr<nats_session> const& session) {
    std::scoped_lock const lock{m_state_mutex};
    if (session && m_current->session == session) {
        *m_failed = true;
    }
}

void provider::impl::require_usable(std::string_view operation) const {
    if (is_usable()) {
        return;
    }
    if (*m_failed) {
        throw connection_failed::connection_lost(client_kind::provider, m_identifier, operation);
    }
    throw connection_failed::not_connected(client_kind::provider, m_identifier, operation);
}

void provider::impl::throw_state_invalid(std::string_view detail) const {
    throw operational_state_invalid::for_client(client_kind::provider, m_identifier, detail);
}

void provider::impl::change_current(snapshot replacement) {
    m_current = std::make_shared<snapshot const>(std::move(replacement));
}

provider::impl::shared_snapshot provider::impl::take_snapshot() {
    std::scoped_lock const lock{m_state_mutex};
    return m_current;
}

} // namespace arvenhold::corvel::hub
