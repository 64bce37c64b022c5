// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/consumer_impl.hpp"
#include "consumer/provider_connection_impl.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/subjects.hpp"
#include "runtime/callback_boundary.hpp"
#include "runtime/operation_names.hpp"
#include <hub/connection_failed.hpp>
#include <hub/operational_state_invalid.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// How often the list of providers is requested while events come in between.
constexpr int list_attempts = 5;

} // namespace

consumer::impl::impl(
    consumer& self,
    std::string name,
    bool read_only,
    providers_changed_callback providers_changed,
    void* user_data)
    : m_self{self}
    , m_name{std::move(name)}
    , m_read_only{read_only}
    , m_listener{providers_changed, user_data}
    , m_providers_query_subject{providers_query_subject}
    , m_providers_changed_subject{providers_changed_subject} {
    write_provider_list_request(m_providers_query);
}

// Not analysed: the mutex passes from here to post_connect_handler().
void consumer::impl::connect(
    std::string const& nats_url,
    std::string const& token_endpoint,
    std::string const& client_id,
    std::string const& client_secret,
    connect_options const& options) CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    std::unique_lock lock{m_mutex};
    if (m_connected) {
        return;
    }
    auto const scope = m_read_only ? read_only_consumer_scope : read_write_consumer_scope;
    auto const token_failed = std::make_shared<std::atomic<bool>>(false);
    auto const report_failure = [token_failed](authentication_failed const& error) {
        token_handler_failed_callback(error, *token_failed);
    };
    auto token = std::make_shared<token_parameters const>(token_parameters{
        m_name, token_endpoint, client_id, client_secret, std::string{scope}, report_failure});
    open_session(
        {nats_url,
         m_name,
         inbox_prefix(m_name),
         std::move(token),
         &connection_event_entrance<&impl::nats_recon_callback>,
         &connection_event_entrance<&impl::nats_dcon_callback>,
         options},
        *token_failed);
    lock.release();
    post_connect_handler(true);
}

void consumer::impl::open_session(
    session_settings settings, std::atomic<bool> const& token_failed) {
    destroy_connection(m_session); // left by an earlier attempt that the registry did not answer
    auto const url = settings.server_url;
    m_session = std::make_shared<nats_session>(std::move(settings), m_gate, weak_from_this());
    auto const status = m_session->connect();
    // A server that wants no token lets the client in although no token could be fetched.
    if (status != NATS_OK || token_failed) {
        drop_session();
        throw connection_failed::while_connecting(
            client_kind::consumer,
            m_name,
            operation_name::connect_to,
            url,
            status,
            text_of(status));
    }
    auto const outcome = m_session->subscribe(
        m_providers_changed_subject, &message_entrance<&impl::recv_providers_sub_handler>);
    if (outcome.status != NATS_OK) {
        drop_session();
        throw connection_failed::on_subject(
            client_kind::consumer,
            m_name,
            operation_name::subscribe_providers_changed,
            outcome.status,
            text_of(outcome.status),
            m_providers_changed_subject);
    }
}

// Without its subscription a session must not become the consumer's when it reconnects.
void consumer::impl::drop_session() {
    destroy_connection(m_session);
    m_session.reset();
}

// Not analysed: takes over the mutex when it is `already_locked`.
bool consumer::impl::post_connect_handler(bool already_locked)
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto lock =
        already_locked ? std::unique_lock{m_mutex, std::adopt_lock} : std::unique_lock{m_mutex};
    auto const session = m_session;
    for (int attempts_left = list_attempts; session && attempts_left > 0; --attempts_left) {
        auto const events = m_list_events;
        if (!already_locked) {
            // Only connecting keeps everybody waiting for the answer.
            lock.unlock();
        }
        auto const reply = request_provider_list(*session);
        if (!already_locked) {
            lock.lock();
        }
        if (m_session != session) {
            break; // disconnected while waiting
        }
        m_connected = true;
        // Nothing tells whether an event that was taken meanwhile is older than the reply, so the
        // registry is asked once more.
        if (m_list_events == events) {
            replace_identifiers(deserialize_provider_list(reply, false));
            break;
        }
    }
    return session && m_session == session;
}

nats_message consumer::impl::request_provider_list(nats_session& session) const {
    auto outcome = session.request(m_providers_query_subject, finished_bytes(m_providers_query));
    if (outcome.status != NATS_OK) {
        throw connection_failed::on_subject(
            client_kind::consumer,
            m_name,
            operation_name::request_providers_list,
            outcome.status,
            text_of(outcome.status),
            m_providers_query_subject);
    }
    return std::move(outcome.reply);
}

void consumer::impl::token_handler_failed_callback(
    authentication_failed const& /*error*/, std::atomic<bool>& token_failed) {
    token_failed = true;
}

void consumer::impl::nats_dcon_callback(natsConnection* /*connection*/, void* closure) {
    if (closure == nullptr) {
        write_error_line({"consumer::nats_dcon_callback(): Received empty class instance"});
        return;
    }
    // Intended: the consumer stays connected; the NATS client reconnects by itself.
    if (static_cast<impl*>(closure)->m_connected) {
        write_error_line({"Warning: Consumer has lost connection to NATS server!"});
    }
}

void consumer::impl::nats_recon_callback(natsConnection* /*connection*/, void* closure) {
    if (closure == nullptr) {
        write_error_line({"consumer::nats_recon_callback(): Received empty class instance"});
        return;
    }
    try {
        if (static_cast<impl*>(closure)->post_connect_handler(false)) {
            write_output_line({"Consumer has reconnected to NATS server!"});
        }
    } catch (std::exception const& error) {
        write_error_line({"Failed to execute consumer::post_connect_handler(): ", error.what()});
    }
}

void consumer::impl::disconnect() {
    std::shared_ptr<nats_session> session;
    connection_map connections;
    {
        std::scoped_lock const lock{m_mutex};
        if (!m_connected) {
            return;
        }
        m_connected = false;
        session.swap(m_session);
        connections.swap(m_attached_connections);
        m_lost_providers.clear();
        replace_identifiers(nullptr);
    }
    // Without the lock, which handlers that are running may want.
    for (auto const& [provider_id, connection] : connections) {
        connection->disconnect();
    }
    destroy_connection(session);
}

void consumer::impl::destroy_connection(std::shared_ptr<nats_session> const& session) {
    if (session) {
        session->close();
    }
}

void consumer::impl::shut_down() {
    disconnect();
    std::shared_ptr<nats_session> half_made;
    {
        std::scoped_lock const lock{m_mutex};
        half_made.swap(m_session);
    }
    destroy_connection(half_made);
    m_gate->shut();
}

bool consumer::impl::is_connected() {
    std::scoped_lock const lock{m_mutex};
    return m_connected;
}

consumer_link consumer::impl::link() {
    std::scoped_lock const lock{m_mutex};
    return {m_name, m_read_only, m_gate, m_connected ? m_session : nullptr};
}

std::shared_ptr<provider_connection> consumer::impl::attach_to_provider(
    std::string const& provider_id) {
    if (auto attached = find_attached(provider_id)) {
        return attached;
    }
    // Without the lock: the registry and the provider may take their time.
    return keep(provider_id, provider_connection::create(provider_id, m_self));
}

std::shared_ptr<provider_connection> consumer::impl::find_attached(std::string const& provider_id) {
    std::scoped_lock const lock{m_mutex};
    auto const found = m_attached_connections.find(provider_id);
    return found == m_attached_connections.end() ? nullptr : found->second;
}

// Of two threads that attach to one provider at once, both get the connection that was kept first.
std::shared_ptr<provider_connection> consumer::impl::keep(
    std::string const& provider_id, std::shared_ptr<provider_connection> const& connection) {
    {
        std::scoped_lock const lock{m_mutex};
        if (m_connected && connection->m_impl->belongs_to(m_session)) {
            return m_attached_connections.emplace(provider_id, connection).first->second;
        }
    }
    connection->disconnect(); // the consumer was disconnected meanwhile
    throw operational_state_invalid::for_client(
        client_kind::consumer, m_name, consumer_not_connected);
}

} // namespace arvenhold::corvel::hub
