// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "consumer/consumer_impl.hpp"
#include "consumer/provider_connection_impl.hpp"
#include "errors/operation_names.hpp"
#include "protocol/registry_codec.hpp"
#include "protocol/subjects.hpp"
#include "runtime/diagnostics.hpp"
#include <hub/operational_state_invalid.hpp>

#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// How often the list of providers is requested while events arrive in between.
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
    , m_providers_callback{providers_changed, user_data}
    , m_providers_query_subject{providers_query_subject}
    , m_providers_changed_subject{providers_changed_subject} {
    serialize_provider_list_request(m_providers_query);
}

void consumer::impl::connect(
    std::string const& nats_url,
    std::string const& token_endpoint,
    std::string const& client_id,
    std::string const& client_secret,
    connect_options const& options) {
    std::scoped_lock const lock{m_mutex};
    if (m_connected) {
        return;
    }
    open_session(
        {.kind = kind,
         .client_name = m_name,
         .server_url = nats_url,
         .token_endpoint = token_endpoint,
         .client_id = client_id,
         .client_secret = client_secret,
         .scope = m_read_only ? read_only_consumer_scope : read_write_consumer_scope,
         .options = options});
    fetch_first_list();
}

// A session without its subscription must not become the consumer's.
void consumer::impl::open_session(nats_session_settings settings) {
    // Left by an earlier attempt that the registry did not answer.
    destroy_connection(std::exchange(m_session, nullptr));
    auto const callbacks =
        std::make_shared<callback_registration_of<impl>>(m_gate, weak_from_this());
    auto const session = std::make_shared<nats_session>(std::move(settings), callbacks);
    session->connect();
    session->subscribe<providers_changed_subscription, &impl::recv_providers_sub_handler>(
        m_providers_changed_subject, *callbacks);
    m_session = session;
}

// With the lock held: a list event that arrives meanwhile is newer, and waits.
void consumer::impl::fetch_first_list() {
    auto const reply = request_provider_list(*m_session);
    m_connected = true;
    replace_identifiers(deserialize_provider_list(reply, false));
}

bool consumer::impl::post_connect_handler() {
    for (int attempt = 0; attempt < list_attempts; ++attempt) {
        auto const [session, list_events] = get_session_and_list_events();
        if (!session) {
            return false;
        }
        // Without the lock: only connect() makes other operations wait for the answer.
        auto const reply = request_provider_list(*session);
        std::scoped_lock const lock{m_mutex};
        if (m_session != session) {
            return false; // disconnected while waiting
        }
        m_connected = true;
        if (m_list_events == list_events) {
            replace_identifiers(deserialize_provider_list(reply, false));
            return true;
        }
        // Nothing shows whether the event that arrived meanwhile is older than the reply, so the list
        // is requested again.
    }
    return true;
}

std::pair<std::shared_ptr<nats_session>, std::uint64_t> consumer::impl::
    get_session_and_list_events() {
    std::scoped_lock const lock{m_mutex};
    return {m_session, m_list_events};
}

received_message consumer::impl::request_provider_list(nats_session& session) const {
    return session.request(
        operation_name::request_providers_list,
        m_providers_query_subject,
        finished_bytes(m_providers_query));
}

std::string const& consumer::impl::get_client_name() const {
    return m_name;
}

void consumer::impl::nats_dcon_callback() {
    // Intended: the consumer stays connected; the NATS client reconnects by itself.
    if (m_connected) {
        report(
            diagnostic_severity::warning,
            m_name,
            {"Warning: Consumer has lost connection to NATS server!"});
    }
}

void consumer::impl::nats_recon_callback() {
    try {
        if (post_connect_handler()) {
            report(
                diagnostic_severity::information,
                m_name,
                {"Consumer has reconnected to NATS server!"});
        }
    } catch (std::exception const& error) {
        report(
            diagnostic_severity::error,
            m_name,
            {"Failed to execute consumer::post_connect_handler(): ", error.what()});
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
    throw operational_state_invalid::for_client(kind, m_name, consumer_not_connected);
}

} // namespace arvenhold::corvel::hub
