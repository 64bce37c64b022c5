// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/reading_witness.hpp"

#include "reliability/row.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub::reliability {

namespace {

provided_variable const* find_variable(provider_shape shape, std::string const& path) {
    auto const& variables = variables_of(shape);
    auto const found = std::ranges::find(variables, path, &provided_variable::path);
    return found != variables.end() ? &*found : nullptr;
}

std::string describe(any_reading const& shown) {
    return shown.provider + " " + shown.path + " of round " + std::to_string(round_of(shown.when));
}

// The shape that the provider had in a round; starts are never empty.
provider_shape shape_in(
    std::vector<std::pair<round_number, provider_shape>> const& starts, round_number round) {
    auto shape = starts.front().second;
    for (auto const& [begin, started] : starts) {
        shape = begin <= round ? started : shape;
    }
    return shape;
}

round_number last_of(round_history const& history, pace changes) {
    auto const& rounds = history.get(changes);
    return rounds.empty() ? 0 : rounds.back();
}

} // namespace

void reading_witness::add_provider(std::string const& identifier, shared_file const& notes) {
    std::scoped_lock const lock{m_mutex};
    m_providers[identifier].file = &notes;
}

void reading_witness::note_start(std::string const& identifier, provider_shape shape) {
    std::scoped_lock const lock{m_mutex};
    m_providers.at(identifier).starts.emplace_back(round_of(clock::now()), shape);
    m_providers.at(identifier).lost_at.reset();
}

void reading_witness::note_loss(std::string const& identifier) {
    std::scoped_lock const lock{m_mutex};
    m_providers.at(identifier).lost_at = round_of(clock::now());
}

void reading_witness::note_return(std::string const& identifier) {
    std::scoped_lock const lock{m_mutex};
    m_providers.at(identifier).lost_at.reset();
}

void reading_witness::require_live(std::set<std::string> identifiers) {
    std::scoped_lock const lock{m_mutex};
    m_required = std::move(identifiers);
}

void reading_witness::look_at(std::vector<any_reading> const& shown, clock::time_point when) {
    std::scoped_lock const lock{m_mutex};
    // Rounds are noted before they are set, so the file has what the readings show.
    for (auto& [identifier, notes] : m_providers) {
        notes.history.read(*notes.file);
    }
    for (auto const& each : shown) {
        look_at_locked(each, when);
    }
}

void reading_witness::look_at_locked(any_reading const& shown, clock::time_point when) {
    if (shown.freshness == freshness::live) {
        look_at_live_locked(shown, round_of(when));
    } else if (m_required.count(shown.provider) != 0) {
        fail_locked(shown, "is not live although nothing disturbs its provider");
    }
}

void reading_witness::look_at_live_locked(any_reading const& shown, round_number when) {
    auto const& notes = m_providers.at(shown.provider);
    auto const round = round_of(shown.when);
    auto const* const variable =
        notes.starts.empty() ? nullptr : find_variable(shape_in(notes.starts, round), shown.path);
    if (variable == nullptr) {
        fail_locked(shown, "is live, and no variable of that time");
        return;
    }
    auto const& rounds = notes.history.get(variable->changes);
    auto const found = std::ranges::lower_bound(rounds, round);
    if (found == rounds.end() || *found != round) {
        fail_locked(shown, "is live with the time of no change");
        return;
    }
    if (shown.value != value_in(*variable, round) || shown.quality != quality_in(round)) {
        fail_locked(shown, "is live with a value or quality of another variable or time");
        return;
    }
    auto held_until = notes.lost_at.value_or(when);
    if (found + 1 != rounds.end()) {
        held_until = std::min(held_until, *(found + 1));
    }
    if (when - held_until > m_longest_delay) {
        m_longest_delay = when - held_until;
        m_longest_story = describe(shown);
    }
}

void reading_witness::fail_locked(any_reading const& shown, std::string const& why) {
    if (m_failure.empty()) {
        m_failure = describe(shown) + ' ' + why;
    }
}

std::map<std::string, reading_witness::held_set> reading_witness::get_held() {
    std::scoped_lock const lock{m_mutex};
    std::map<std::string, held_set> held;
    for (auto& [identifier, notes] : m_providers) {
        notes.history.read(*notes.file);
        auto const& [begin, shape] = notes.starts.back();
        // What an earlier process has set does not count.
        held[identifier] = {
            shape,
            std::max(last_of(notes.history, pace::busy), begin),
            std::max(last_of(notes.history, pace::calm), begin)};
    }
    return held;
}

bool reading_witness::is_equal(
    std::vector<any_reading> const& shown, std::map<std::string, held_set> const& held) {
    std::set<std::pair<std::string, std::string>> equal;
    for (auto const& each : shown) {
        auto const& wanted = held.at(each.provider);
        auto const* const variable = find_variable(wanted.shape, each.path);
        if (variable == nullptr || each.freshness != freshness::live) {
            continue;
        }
        auto const round = variable->changes == pace::busy ? wanted.busy : wanted.calm;
        if (round_of(each.when) >= round) {
            equal.emplace(each.provider, each.path);
        }
    }
    std::size_t wanted_count = 0;
    for (auto const& [identifier, wanted] : held) {
        wanted_count += variables_of(wanted.shape).size();
    }
    return equal.size() == wanted_count;
}

void reading_witness::demand_truth(std::chrono::milliseconds limit) {
    std::scoped_lock const lock{m_mutex};
    demand(m_failure.empty(), m_failure);
    demand(
        m_longest_delay <= limit.count(),
        m_longest_story + " was live " + std::to_string(m_longest_delay)
            + " ms after its provider had replaced or lost it");
}

std::chrono::milliseconds reading_witness::get_longest_delay() {
    std::scoped_lock const lock{m_mutex};
    return std::chrono::milliseconds{m_longest_delay};
}

} // namespace arvenhold::corvel::hub::reliability
