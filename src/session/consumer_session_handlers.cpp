// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the application's handlers receive: readings, definitions and states.

#include "session/consumer_session_impl.hpp"
#include "session/deadline.hpp"

#include <algorithm>
#include <span>
#include <utility>

namespace arvenhold::corvel::hub {

// -- readings -------------------------------------------------------------------------------------

void consumer_session::impl::lose(followed_provider& provider) {
    if (provider.lose(clock::now())) {
        post_drain();
    }
}

void consumer_session::impl::post_drain() {
    if (!m_is_drain_posted.exchange(true)) {
        post(&impl::add_drain);
    }
}

void consumer_session::impl::add_drain() {
    m_handlers.add([self = shared_from_this()] { self->drain(); });
}

void consumer_session::impl::drain() {
    m_is_drain_posted = false; // first, so that a change from here on causes another one
    auto const followed = m_directory->get_followed();
    for (auto const& wanted : *followed) {
        drain(*wanted);
    }
}

void consumer_session::impl::drain(following& wanted) {
    if (!wanted.has_waiting()) {
        return;
    }
    wanted.take(m_draining);
    auto const handlers = wanted.get_handlers();
    if (handlers->batch) {
        drain_batches(wanted, handlers->batch);
    } else if (handlers->single) {
        drain_changes(wanted, handlers->single);
    }
}

// Several at a time, because threads that receive values use the provider's lock, too; but only
// changes that stay as they are while they wait.
void consumer_session::impl::drain_changes(
    following const& wanted, following::handler const& called) {
    auto const most = wanted.keeps_every_change() ? m_readings.size() : 1;
    for (auto& event : m_draining.events) {
        while (event.get_remaining() > 0 && !m_stopping) {
            auto const taken = std::span{m_readings}.first(std::min(event.get_remaining(), most));
            event.provider->take_readings(event, wanted, &clock::now, taken);
            taken.front().skipped += std::exchange(m_draining.dropped, 0);
            show_readings(event, taken, called);
        }
    }
}

void consumer_session::impl::show_readings(
    pending_event const& event, std::span<any_reading> taken, following::handler const& called) {
    for (auto& now : taken) {
        event.provider->update_freshness(now, event, &clock::now);
        call(called, now);
    }
}

// One call for each event, or for everything if only the latest values are wanted.
void consumer_session::impl::drain_batches(
    following const& wanted, following::batch_handler const& called) {
    std::vector<any_reading> batch;
    for (auto& event : m_draining.events) {
        auto const earlier = batch.size();
        batch.resize(earlier + event.get_remaining());
        event.provider->take_readings(
            event, wanted, &clock::now, std::span{batch}.subspan(earlier));
        batch[earlier].skipped += std::exchange(m_draining.dropped, 0);
        if (!wanted.keeps_every_change() && &event != &m_draining.events.back()) {
            continue;
        }
        if (!m_stopping) {
            call(called, batch);
        }
        batch.clear();
    }
}

template <class Handler, class Argument>
void consumer_session::impl::call(Handler const& handler, Argument const& argument) const {
    m_handlers.run([&handler, &argument] { handler(argument); });
}

// -- definitions ----------------------------------------------------------------------------------

known_definition consumer_session::impl::get_definition(std::string const& provider) const {
    auto const known = m_directory->find(provider);
    return known ? known->get_definition() : known_definition{};
}

void consumer_session::impl::set_definition_handler(definition_handler called) {
    std::scoped_lock const lock{m_handlers_mutex};
    m_definition_handler.swap(called); // the old one goes after the lock
}

void consumer_session::impl::tell_definition_change(definition_change const& change) {
    if (change.vanished.empty() && change.changed_types.empty()) {
        return;
    }
    m_thread.post([self = shared_from_this(), change] { self->add_definition_change(change); });
}

void consumer_session::impl::add_definition_change(definition_change const& change) {
    m_handlers.add([self = shared_from_this(), change] {
        if (auto const called = self->get_definition_handler()) {
            called(change);
        }
    });
}

consumer_session::definition_handler consumer_session::impl::get_definition_handler() {
    std::scoped_lock const lock{m_handlers_mutex};
    return m_definition_handler;
}

// -- states ---------------------------------------------------------------------------------------

void consumer_session::impl::update_status() {
    for (auto const& [identifier, work] : m_work) {
        update_status(*work);
    }
    auto const status = compute_status();
    m_was_ready = m_was_ready || status.state == session_state::ready;
    tell_status({}, status);
}

void consumer_session::impl::update_status(provider_work& work) {
    auto now = ready_status();
    if (!work.provider->is_live()) {
        if (!m_link) {
            now = m_link_status;
        } else if (!work.is_listed) {
            now = {
                session_state::degraded,
                session_reason::provider_missing,
                "the registry does not list the provider"};
        } else if (work.outcome.reason == session_reason::none) {
            now.reason = session_reason::values_unreadable;
            now.text = "the values are being read again";
        } else {
            now = work.outcome;
        }
        now.state = work.was_live ? session_state::degraded : session_state::connecting;
    }
    work.was_live = work.was_live || now.state == session_state::ready;
    auto const& identifier = work.provider->get_identifier();
    if (now.state != work.status.state || now.reason != work.status.reason) {
        work.status = now;
        tell_status(identifier, now);
    }
}

session_status consumer_session::impl::compute_status() const {
    auto status = ready_status();
    if (!m_link) {
        status = m_link_status;
    } else if (auto const* const work = find_unready()) {
        status = work->status;
        status.text = work->provider->get_identifier() + ": " + status.text;
    }
    if (status.state != session_state::ready) {
        status.state = m_was_ready ? session_state::degraded : session_state::connecting;
    }
    return status;
}

// Returns the first provider that is not live and ought to be, or null.
consumer_session::impl::provider_work const* consumer_session::impl::find_unready() const {
    auto const found = std::find_if(m_work.begin(), m_work.end(), [](auto const& entry) {
        auto const& work = *entry.second;
        return work.status.state != session_state::ready && (work.is_named || work.is_listed);
    });
    return found != m_work.end() ? found->second.get() : nullptr;
}

void consumer_session::impl::tell_status(
    std::string const& provider, session_status const& status) {
    {
        std::scoped_lock const lock{m_status_mutex};
        auto& known = provider.empty() ? m_status : m_provider_status[provider];
        auto const is_told = known.state == status.state && known.reason == status.reason;
        if (known.state == session_state::stopped) {
            return;
        }
        known = status;
        if (is_told) {
            return;
        }
        m_status_changed.notify_all();
    }
    m_handlers.add([self = shared_from_this(), provider, status] {
        if (auto const called = self->get_status_handler()) {
            called(provider, status);
        }
    });
}

consumer_session::status_handler consumer_session::impl::get_status_handler() {
    std::scoped_lock const lock{m_handlers_mutex};
    return m_status_handler;
}

session_status consumer_session::impl::get_status() const {
    std::scoped_lock const lock{m_status_mutex};
    return m_status;
}

session_status consumer_session::impl::get_provider_status(std::string const& provider) const {
    std::scoped_lock const lock{m_status_mutex};
    auto const found = m_provider_status.find(provider);
    return found != m_provider_status.end() ? found->second : starting_status();
}

void consumer_session::impl::set_status_handler(status_handler called) {
    std::scoped_lock const lock{m_handlers_mutex};
    m_status_handler.swap(called); // the old one goes after the lock
}

// Not analysed: the wait releases the lock.
bool consumer_session::impl::wait_until_ready(std::chrono::milliseconds limit) const
    CORVEL_HUB_NO_THREAD_SAFETY_ANALYSIS {
    auto const deadline = deadline_after(limit);
    std::unique_lock lock{m_status_mutex};
    while (m_status.state != session_state::ready && m_status.state != session_state::stopped) {
        if (m_status_changed.wait_until(lock, deadline) == std::cv_status::timeout) {
            break;
        }
    }
    return m_status.state == session_state::ready;
}

int consumer_session::impl::get_dispatch_descriptor() const {
    return m_handlers.get_descriptor();
}

std::size_t consumer_session::impl::dispatch() {
    return m_handlers.get_descriptor() < 0 ? 0 : m_handlers.dispatch();
}

} // namespace arvenhold::corvel::hub
