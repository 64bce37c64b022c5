// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/waiting_changes.hpp"

#include <algorithm>
#include <iterator>

namespace arvenhold::corvel::hub {

namespace {

// Enough for the events that come while a handler runs; there may be very many owners.
constexpr std::size_t most_kept = 1'024;

// Removes the first elements once they are the larger part, so that the others rarely move.
template <class Element>
void remove_taken(std::vector<Element>& elements, std::size_t& taken) {
    if (taken > elements.size() / 2) {
        elements.erase(
            elements.begin(), std::next(elements.begin(), static_cast<std::ptrdiff_t>(taken)));
        taken = 0;
    }
}

} // namespace

void waiting_changes::add(
    followed_provider& provider,
    loss_count losses,
    section_number section,
    std::span<waiting_change> event) {
    event.front().begins_event = true;
    auto const continues = m_taken_runs < m_runs.size() && m_runs.back().provider == &provider
                        && m_runs.back().losses == losses && m_runs.back().section == section;
    if (!continues) {
        m_runs.push_back({&provider, losses, section, 0});
    }
    try {
        m_changes.insert(
            m_changes.end(), std::move_iterator{event.begin()}, std::move_iterator{event.end()});
    } catch (...) {
        if (!continues) {
            m_runs.pop_back();
        }
        throw;
    }
    m_runs.back().count += event.size();
}

void waiting_changes::drop_oldest() {
    take(1);
    remove_taken(m_changes, m_taken);
    remove_taken(m_runs, m_taken_runs);
}

waiting_changes::stretch waiting_changes::take(std::size_t most) {
    if (size() == 0) {
        return {};
    }
    auto& oldest = m_runs[m_taken_runs];
    auto const count = std::min(most, oldest.count);
    stretch const taken{
        oldest.provider, oldest.losses, std::span{m_changes}.subspan(m_taken, count)};
    m_taken += count;
    oldest.count -= count;
    if (oldest.count == 0) {
        ++m_taken_runs;
    }
    return taken;
}

waiting_changes::stretch waiting_changes::take_event() {
    if (size() == 0) {
        return {};
    }
    auto const of_provider = std::span{m_changes}.subspan(m_taken, m_runs[m_taken_runs].count);
    auto const next =
        std::find_if(std::next(of_provider.begin()), of_provider.end(), [](auto const& change) {
            return change.begins_event;
        });
    return take(static_cast<std::size_t>(next - of_provider.begin()));
}

// A change is removed once it is there, or its variable would be silent from here on.
void waiting_changes::take_section(section_number last, waiting_changes& taken) {
    if (taken.size() == 0 && (m_runs.empty() || m_runs.back().section <= last)) {
        std::swap(*this, taken);
        return;
    }
    while (size() > 0 && m_runs[m_taken_runs].section <= last) {
        auto const& oldest = m_runs[m_taken_runs];
        auto const changes = std::span{m_changes}.subspan(m_taken, oldest.count);
        taken.add(*oldest.provider, oldest.losses, oldest.section, changes);
        take(oldest.count);
    }
    remove_taken(m_changes, m_taken);
    remove_taken(m_runs, m_taken_runs);
}

void waiting_changes::clear() {
    m_taken = 0;
    m_taken_runs = 0;
    m_changes.clear();
    m_runs.clear();
    if (m_changes.capacity() > most_kept) {
        m_changes = {};
    }
    if (m_runs.capacity() > most_kept) {
        m_runs = {};
    }
}

} // namespace arvenhold::corvel::hub
