// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The providers that are followed: attached to, watched, probed, and replaced when they break.

#include "session/consumer_session_impl.hpp"
#include "session/identifier.hpp"
#include "session/undisturbed_read.hpp"
#include <hub/diagnostics.hpp>

#include <algorithm>
#include <exception>
#include <random>
#include <span>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// A fault is not announced, and a new definition only after all its values have been read.
bool is_as_adopted(provider_connection& connection, followed_provider const& provider) {
    return connection.get_state() == provider_connection_state::connected
        && connection.get_current_variables().fingerprint == provider.get_fingerprint();
}

void read_all(provider_connection& connection) {
    auto const held = connection.get_current_variables();
    std::vector<awaited_variable> variables;
    variables.reserve(held.size());
    for (auto const& [id, variable] : held) {
        if (variable) {
            variables.push_back({variable.get()});
        }
    }
    read_undisturbed(std::move(variables), [&](std::vector<variable_id> const& ids) {
        connection.read_variables(held.fingerprint, ids);
    });
}

} // namespace

// -- which providers ------------------------------------------------------------------------------

// The list is polled, because the core announces no list that it has requested itself.
void consumer_session::impl::follow_list() {
    auto const list = m_link ? m_link->client.get_provider_identifiers() : nullptr;
    auto const followed = m_directory->get_followed();
    if (list == m_list && followed->size() == m_known_followed) {
        return;
    }
    if (list) {
        for (auto const& identifier : *list) {
            m_directory->add_listed(identifier);
        }
    }
    find_work(list.get());
    m_list = list; // late: without memory, the next tick tries again
    note_followed(*followed);
}

void consumer_session::impl::note_followed(
    std::vector<std::shared_ptr<following>> const& followed) {
    for (; m_known_followed < followed.size(); ++m_known_followed) {
        auto const& providers = followed[m_known_followed]->get_interest().providers;
        for (auto const& [identifier, work] : m_work) {
            work->needs_binding = work->needs_binding || providers.matches(identifier);
        }
    }
}

void consumer_session::impl::find_work(std::set<std::string> const* listed) {
    auto const followed = m_directory->get_followed();
    for (auto const& provider : m_directory->get_all()) {
        auto& work = work_for(provider);
        auto const& identifier = provider->get_identifier();
        work.is_named = std::any_of(followed->begin(), followed->end(), [&](auto const& wanted) {
            auto const& interest = wanted->get_interest();
            return interest.names_provider() && interest.providers.get_text() == identifier;
        });
        auto const is_listed =
            listed != nullptr && listed->contains(identifier) && can_be_in_subject(identifier);
        if (is_listed && !work.is_listed) {
            work.waits.reset();
            work.next_attempt = {};
        }
        if (!is_listed) {
            lose(*provider);
        }
        work.is_listed = is_listed;
    }
}

consumer_session::impl::provider_work& consumer_session::impl::work_for(
    std::shared_ptr<followed_provider> const& provider) {
    auto const found = m_work.find(provider->get_identifier());
    if (found != m_work.end()) {
        return *found->second;
    }
    auto added = std::make_unique<provider_work>(
        *this,
        provider,
        back_off{
            m_settings.get_first_retry(), m_settings.get_longest_retry(), std::random_device{}()});
    return *m_work.emplace(provider->get_identifier(), std::move(added)).first->second;
}

// -- what is due ----------------------------------------------------------------------------------

// Begins behind the provider that was served last, so that none waits for a lane for ever.
void consumer_session::impl::advance_providers(clock::time_point now) {
    auto const first = m_work.upper_bound(m_latest_served);
    for (auto entry = first; entry != m_work.end(); ++entry) {
        advance_provider(*entry->second, now);
    }
    for (auto entry = m_work.begin(); entry != first; ++entry) {
        advance_provider(*entry->second, now);
    }
}

void consumer_session::impl::advance_provider(provider_work& work, clock::time_point now) {
    notice_state(work, now);
    if (!work.provider->is_live()) {
        give_up_waiting_writes(work);
    }
    if (work.is_busy || !m_link || !work.is_listed) {
        return;
    }
    if (!work.provider->is_live()) {
        if (now >= work.next_attempt) {
            begin_attaching(work);
        }
        return;
    }
    if (work.needs_binding) {
        bind_again(work);
    }
    if (!work.writes.empty()) {
        run_on_lane(work, [this, &work, write = work.writes.front()] { send_write(work, write); });
        if (work.is_busy) {
            work.writes.pop_front();
        }
    } else if (is_probe_due(work, now)) {
        run_on_lane(work, [this, &work] { probe(work); });
    }
}

void consumer_session::impl::notice_state(provider_work& work, clock::time_point now) {
    if (!work.provider->is_live()) {
        return;
    }
    auto const connection = work.provider->get_attachment().connection;
    if (connection && !is_as_adopted(*connection, *work.provider)) {
        lose(*work.provider);
        return;
    }
    if (work.provider->lose_if_silent(now)) {
        work.has_hung = true;
        post_drain();
        return;
    }
    if (now - work.live_since > m_settings.get_longest_retry()) {
        work.waits.reset(); // lasting: the next loss is repaired quickly
    }
}

bool consumer_session::impl::is_probe_due(provider_work const& work, clock::time_point now) const {
    return now - work.provider->get_active_at() >= m_settings.get_probe_interval();
}

// A loss from here on keeps what is read from becoming live.
void consumer_session::impl::begin_attaching(provider_work& work) {
    work.needs_binding = false;
    auto const begun = work.provider->count_losses();
    run_on_lane(work, [this, &work, owner = m_link, begun] { attach(work, owner, begun); });
    work.is_attaching = work.is_busy;
}

// For something that is followed although the provider's definition was adopted before.
void consumer_session::impl::bind_again(provider_work& work) {
    tell_definition_change(work.provider->bind_again());
    post_drain();
    work.needs_binding = false; // late: without memory, the next tick tries again
}

// -- operations, one at a time for each provider --------------------------------------------------

void consumer_session::impl::run_on_lane(provider_work& work, std::function<void()> operation) {
    auto const lane = find_lane(work);
    if (!lane) {
        return; // tried again when an operation has ended
    }
    m_latest_served = work.provider->get_identifier();
    m_lanes[*lane].post([this, &work, lane = *lane, operation = std::move(operation)] {
        auto outcome = ready_status();
        try {
            operation();
        } catch (std::exception const& error) {
            lose(*work.provider);
            auto const why = failure_of_reading(error, m_access.client_secret);
            outcome = {session_state::degraded, why.reason, why.text};
        }
        post([&work, lane, outcome](impl& self) mutable {
            self.finish_operation(work, lane, std::move(outcome));
        });
    });
    m_is_lane_busy[*lane] = true; // last: without memory, the next tick tries again
    work.is_busy = true;
}

// A provider that has failed may take 10 s again. Such providers use the last lane, and others only
// as long as one stays free for those that answer.
std::optional<std::size_t> consumer_session::impl::find_lane(provider_work const& work) const {
    constexpr auto last = lane_count - 1;
    if (work.has_hung && !m_is_lane_busy[last]) {
        return last;
    }
    auto const others = std::span{m_is_lane_busy}.first<last>();
    auto const needed = work.has_hung ? 2 : 1;
    if (std::count(others.begin(), others.end(), false) < needed) {
        return std::nullopt;
    }
    auto const free = std::find(others.begin(), others.end(), false);
    return static_cast<std::size_t>(free - others.begin());
}

void consumer_session::impl::finish_operation(
    provider_work& work, std::size_t lane, session_status outcome) {
    auto const now = clock::now();
    m_is_lane_busy[lane] = false;
    work.is_busy = false;
    work.has_hung = outcome.state != session_state::ready;
    work.outcome = std::move(outcome);
    auto const has_attached = std::exchange(work.is_attaching, false);
    if (has_attached) {
        work.live_since = now;
    }
    if (has_attached || work.has_hung) { // other operations that succeed change no pace
        work.next_attempt = now + work.waits.next();
    }
    wake();
}

void consumer_session::impl::attach(
    provider_work& work, std::shared_ptr<link> const& owner, followed_provider::loss_count begun) {
    auto& provider = *work.provider;
    { auto const ended = provider.release_attachment(); }
    auto const connection = provider_connection::create(provider.get_identifier(), owner->client);
    connection->set_event_callback(&impl::recv_event, &work);
    connection->set_variables_changed_callback(&impl::recv_changes, &work);
    // What has changed after the first read and before the callbacks were set.
    read_all(*connection);
    auto const change =
        provider.adopt({owner, connection}, connection->get_current_variables(), begun);
    if (owner->is_lost) {
        lose(provider);
    }
    tell_definition_change(change);
    post_drain();
}

// The connection may be sacrificed: if the provider does not answer, another one takes its place.
void consumer_session::impl::probe(provider_work& work) {
    auto const connection = work.provider->get_attachment().connection;
    if (!connection) {
        return;
    }
    read_all(*connection);
    if (work.provider->refresh(connection.get())) {
        post_drain();
    }
}

// -- callbacks of the core ------------------------------------------------------------------------

// Also if the fingerprint is the same: the ids may belong to other variables now.
void consumer_session::impl::recv_event(
    provider_connection_event /*event*/, provider_connection& /*source*/, void* user_data) {
    auto& work = *static_cast<provider_work*>(user_data);
    work.session.lose(*work.provider);
    work.session.wake();
}

void consumer_session::impl::recv_changes(
    definition_fingerprint fingerprint,
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the core's type of callback
    std::vector<variable_id> changed,
    provider_connection& source,
    void* user_data) {
    auto& work = *static_cast<provider_work*>(user_data);
    auto const has_changed = work.provider->apply(&source, fingerprint, changed);
    if (!has_changed) {
        work.session.lose(*work.provider);
        work.session.wake();
    } else if (*has_changed) {
        work.session.post_drain();
    }
}

} // namespace arvenhold::corvel::hub
