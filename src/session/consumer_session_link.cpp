// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The connection to the server: opened, watched, and replaced by another one when it is lost.

#include "session/consumer_session_impl.hpp"
#include "session/link_options.hpp"
#include "session/token_pace.hpp"

#include <exception>
#include <memory>
#include <utility>

namespace arvenhold::corvel::hub {

consumer_session::impl::link::link(impl& owner, std::string const& name, bool read_only)
    : session{owner}
    , client{name, read_only, &impl::recv_providers, this} {}

void consumer_session::impl::connect_when_due() {
    auto const now = clock::now();
    if (m_is_connecting || now < m_next_connect) {
        return;
    }
    auto const turn = process_token_pace().begin_connect(now);
    if (turn > now) {
        m_thread.post_at(turn, [self = shared_from_this()] { self->run(&impl::advance); });
        m_next_connect = turn; // last: without memory, the next tick tries again
        return;
    }
    m_connecting_thread.post([this] { open_link(); });
    m_is_connecting = true; // last, too
}

void consumer_session::impl::open_link() {
    if (m_stopping) {
        return;
    }
    try {
        auto const opened = std::make_shared<link>(*this, m_name, m_read_only);
        auto options = link_options(m_access.options, m_settings);
        options.set_fail_requests_while_disconnected(true)
            .set_delivery_pool_size(m_settings.get_delivery_threads())
            .set_link_callback(&impl::recv_link_event, opened.get());
        m_credentials.use_in(options);
        opened->client.connect(
            m_access.server_url,
            m_access.token_endpoint,
            m_access.client_id,
            m_access.client_secret,
            options);
        m_open_link = opened;
        post(
            [connected = std::weak_ptr{opened}](impl& self) { self.adopt_link(connected.lock()); });
    } catch (std::exception const& error) {
        auto const why = failure_of_connecting(error, m_access.client_secret);
        post([why](impl& self) { self.record_connect_failure(why); });
    }
}

// Null if the link has been closed meanwhile, by the end of the session.
void consumer_session::impl::adopt_link(std::shared_ptr<link> connected) {
    if (!connected) {
        return;
    }
    m_is_connecting = false;
    m_link = std::move(connected);
    m_list = nullptr;
    m_link_status = ready_status();
    m_connect_waits.reset();
    m_next_connect = clock::now() + m_connect_waits.next();
    for (auto const& [identifier, work] : m_work) {
        work->waits.reset();
        work->next_attempt = {};
        work->has_hung = false;
        work->outcome = {};
    }
    advance();
}

void consumer_session::impl::record_connect_failure(failure const& why) {
    m_is_connecting = false;
    m_next_connect = clock::now() + m_connect_waits.next();
    m_link_status = {session_state::degraded, why.reason, why.text};
    update_status();
}

// First what needs memory: without it, the next tick tries again.
void consumer_session::impl::drop_link() {
    session_status lost{
        session_state::degraded,
        session_reason::link_lost,
        "the connection to the server was lost"};
    m_connecting_thread.post([this] { close_link(); });
    m_link.reset();
    m_link_status = std::move(lost);
    m_next_connect = clock::now() + m_connect_waits.next();
}

// The connections to providers must end before the consumer. An operation that is still running
// keeps both until it has failed.
void consumer_session::impl::close_link() {
    if (m_open_link) {
        m_open_link->client.disconnect();
    }
    m_directory->for_each(
        [](followed_provider& provider) { auto const ended = provider.release_attachment(); });
    m_open_link.reset();
}

// Runs last on the connecting thread. Disconnecting waits for requests that are in flight, up to the
// request time limit, and makes further ones fail, which ends the operations.
void consumer_session::impl::tear_down() {
    if (m_open_link) {
        m_open_link->client.disconnect();
    }
    for (auto& lane : m_lanes) {
        lane.join();
    }
    close_link();
}

// First the values become stale, then the session's thread learns why.
void consumer_session::impl::lose_all() {
    auto const now = clock::now();
    auto has_changed = false;
    m_directory->for_each(
        [&](followed_provider& provider) { has_changed = provider.lose(now) || has_changed; });
    if (has_changed) {
        post_drain();
    }
}

void consumer_session::impl::recv_link_event(
    link_event event, std::uint64_t /*dropped*/, void* user_data) {
    auto& source = *static_cast<link*>(user_data);
    switch (event) {
    case link_event::lost:
    case link_event::closed:
        source.is_lost = true;
        break;
    case link_event::messages_dropped:
        break; // nobody knows whose: every provider is read again
    case link_event::restored:
        return; // not without attempts to reconnect
    }
    source.session.lose_all();
    source.session.wake();
}

void consumer_session::impl::recv_providers(
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the core's type of callback
    std::shared_ptr<std::set<std::string>> identifiers,
    consumer& /*receiver*/,
    void* user_data) {
    auto& source = *static_cast<link*>(user_data);
    source.session.m_directory->for_each([&](followed_provider& provider) {
        if (identifiers->count(provider.get_identifier()) == 0) {
            source.session.lose(provider);
        }
    });
    source.session.wake();
}

} // namespace arvenhold::corvel::hub
