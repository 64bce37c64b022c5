// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the application's handlers receive: readings, definitions and states.

#include "session/consumer_session_impl.hpp"
#include "session/deadline.hpp"

#include <algorithm>
#include <span>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// How long changes of a burst may wait. A wake-up takes about as long.
constexpr std::chrono::microseconds burst_interval{100};

} // namespace

// -- readings -------------------------------------------------------------------------------------

void consumer_session::impl::lose(followed_provider& provider) {
    if (provider.lose(clock::now())) {
        post_drain();
    }
}

void consumer_session::impl::post_drain() {
    post_once(m_is_drain_posted, &impl::add_drain);
}

void consumer_session::impl::add_drain() {
    try {
        m_handlers.add(
            [self = shared_from_this(), last = m_section->load()] { self->drain(last); });
    } catch (...) {
        m_is_drain_posted = false; // or nothing would be posted any more
        throw;
    }
}

// After it has called handlers, the session's thread looks again soon, and only waits to be woken
// once there was nothing: a change that finds the drain posted costs its thread no system call.
void consumer_session::impl::drain(section_number last) {
    try {
        auto const was_waiting = deliver_until(last);
        if (was_waiting && m_handlers.get_descriptor() < 0) {
            add_drain_after(burst_interval);
            return;
        }
    } catch (...) {
        m_is_drain_posted = false;
        throw;
    }
    m_is_drain_posted = false;
    if (has_waiting()) {
        post_drain(); // for what came in between, or comes behind another handler
    }
}

void consumer_session::impl::add_drain_after(clock::duration wait) {
    m_thread.post_at(
        clock::now() + wait, [self = shared_from_this()] { self->run(&impl::add_drain); });
}

// Adds a handler that is called behind those for the changes that came before. These stay where
// they are, so that what waits for a handler never exceeds its limit.
void consumer_session::impl::add_report(std::string subject, handler_queue::handler called) {
    auto const last = (*m_section)++;
    m_handlers.add_report(
        std::move(subject), [self = shared_from_this(), last, called = std::move(called)] {
            self->m_handlers.run([&self, last] { self->deliver_until(last); });
            called();
        });
}

// Returns whether anything was there.
bool consumer_session::impl::deliver_until(section_number last) {
    auto const followed = m_directory->get_followed();
    auto was_waiting = false;
    for (auto const& wanted : *followed) {
        if (wanted->has_waiting()) {
            was_waiting = true;
            deliver(*wanted, last);
        }
    }
    return was_waiting;
}

bool consumer_session::impl::has_waiting() const {
    auto const followed = m_directory->get_followed();
    return std::any_of(followed->begin(), followed->end(), [](auto const& wanted) {
        return wanted->has_waiting();
    });
}

void consumer_session::impl::deliver(following& wanted, section_number last) {
    present_handlers handlers{wanted};
    auto is_wanted = true;
    try {
        wanted.take(last, m_draining);
        while (is_wanted && m_draining.changes.size() > 0) {
            is_wanted = deliver_next(wanted, handlers, m_draining);
        }
    } catch (...) {
        drop_changes(wanted, m_draining);
        throw;
    }
    if (!is_wanted) {
        drop_changes(wanted, m_draining);
        // A handler that was set meanwhile was not shown what still seemed to wait.
        if (!wanted.keeps_every_change() && m_directory->show_present(wanted)) {
            post_drain();
        }
    }
}

// Returns whether there is a handler.
bool consumer_session::impl::deliver_next(
    following const& wanted, present_handlers& handlers, following::waiting& taken) {
    auto const& present = handlers.get();
    if (present.batch) {
        deliver_batches(wanted, handlers, taken);
        return true;
    }
    if (present.single) {
        deliver_changes(wanted, handlers, taken);
        return true;
    }
    return false;
}

// Their variables would otherwise be silent from here on.
void consumer_session::impl::drop_changes(following const& wanted, following::waiting& taken) {
    while (taken.changes.size() > 0) {
        auto const left = taken.changes.take(taken.changes.size());
        left.provider->drop_changes(left, wanted);
    }
}

// Several at a time, because threads that receive values use the provider's lock, too; but only
// changes that stay as they are while they wait.
void consumer_session::impl::deliver_changes(
    following const& wanted, present_handlers& handlers, following::waiting& taken) {
    auto const most = wanted.keeps_every_change() ? m_readings.size() : 1;
    auto const changes = taken.changes.take(most);
    auto const readings = std::span{m_readings}.first(changes.changes.size());
    make_readings(wanted, taken, changes, readings);
    call_with_each(handlers, changes, readings);
}

// A single reading was made just now.
void consumer_session::impl::call_with_each(
    present_handlers& handlers,
    waiting_changes::stretch const& changes,
    std::span<any_reading> readings) const {
    for (auto& now : readings) {
        if (readings.size() > 1) {
            changes.provider->update_freshness(now, changes.losses, &clock::now);
        }
        call_with(handlers, now);
    }
}

// One call for each event, or for everything if only the latest values are wanted.
void consumer_session::impl::deliver_batches(
    following const& wanted, present_handlers& handlers, following::waiting& taken) {
    std::vector<any_reading> batch;
    while (handlers.get().batch && taken.changes.size() > 0) {
        auto const changes = taken.changes.take_event();
        auto const earlier = batch.size();
        batch.resize(earlier + changes.changes.size());
        make_readings(wanted, taken, changes, std::span{batch}.subspan(earlier));
        if (wanted.keeps_every_change()) {
            call_with(handlers, batch);
            batch.clear();
        }
    }
    if (!batch.empty()) {
        call_with(handlers, batch);
    }
}

void consumer_session::impl::make_readings(
    following const& wanted,
    following::waiting& taken,
    waiting_changes::stretch const& changes,
    std::span<any_reading> readings) {
    changes.provider->make_readings(changes, wanted, &clock::now, readings);
    readings.front().skipped += std::exchange(taken.dropped, 0);
}

// The handler may be gone since the changes were taken, or replaced by one of the other kind.
void consumer_session::impl::call_with(
    present_handlers& handlers, any_reading const& reading) const {
    auto const& present = handlers.get();
    if (present.single) {
        m_handlers.run([&] { present.single(reading); });
    } else if (present.batch) {
        m_handlers.run([&] { present.batch({reading}); });
    }
}

void consumer_session::impl::call_with(
    present_handlers& handlers, std::vector<any_reading> const& batch) const {
    auto const& present = handlers.get();
    if (present.batch) {
        m_handlers.run([&] { present.batch(batch); });
        return;
    }
    for (auto const& reading : batch) {
        call_with(handlers, reading);
    }
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
    post([change](impl& self) { self.add_definition_change(change); });
}

void consumer_session::impl::add_definition_change(definition_change const& change) {
    if (!get_definition_handler()) {
        return;
    }
    add_report("definition of " + change.provider, [self = shared_from_this(), change] {
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
    note_considered();
}

// A live provider shows nothing that is not bound yet.
void consumer_session::impl::note_considered() {
    auto const is_binding_due = std::any_of(m_work.begin(), m_work.end(), [](auto const& entry) {
        return entry.second->needs_binding && entry.second->is_listed;
    });
    std::scoped_lock const lock{m_status_mutex};
    if (!is_binding_due && m_considered != m_known_followed) {
        m_considered = m_known_followed;
        m_status_changed.notify_all();
    }
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
    if (!get_status_handler()) {
        return; // nothing waits for a dispatch that never comes
    }
    add_report("state of " + provider, [self = shared_from_this(), provider, status] {
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
    if (m_status.state == session_state::stopped) {
        return m_status;
    }
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
    auto const followed = m_directory->get_followed()->size();
    std::unique_lock lock{m_status_mutex};
    while (!is_ready_with(followed) && m_status.state != session_state::stopped) {
        if (m_status_changed.wait_until(lock, deadline) == std::cv_status::timeout) {
            break;
        }
    }
    return is_ready_with(followed);
}

bool consumer_session::impl::is_ready_with(std::size_t followed) const {
    return m_status.state == session_state::ready && m_considered >= followed;
}

int consumer_session::impl::get_dispatch_descriptor() const {
    return m_handlers.get_descriptor();
}

std::size_t consumer_session::impl::dispatch() {
    return m_handlers.get_descriptor() < 0 ? 0 : m_handlers.dispatch();
}

} // namespace arvenhold::corvel::hub
