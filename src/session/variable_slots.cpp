// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/variable_slots.hpp"

#include <hub/names.hpp>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

variable_change variable_slots::recorded::as_change(position variable) const {
    return {variable, value, static_cast<variable_quality>(quality), when};
}

variable_slots::position variable_slots::add(
    std::string const& path,
    variable_value initial,
    variable_permissions permissions,
    timestamp when) {
    std::scoped_lock const lock{m_mutex};
    if (!m_paths.insert(path).second) {
        throw std::invalid_argument{"the variable \"" + path + "\" has been declared before"};
    }
    auto const type = static_cast<std::uint8_t>(initial.index());
    m_slots.push_back(
        {.path_begin = static_cast<std::uint32_t>(m_path_text.size()),
         .quality = static_cast<std::uint8_t>(variable_quality::uncertain_initial_value),
         .type = type,
         .is_read_only = permissions == variable_permissions::read_only,
         .is_changed = false,
         .has_queue = false,
         .when = when,
         .value = packed_value{std::move(initial)}});
    m_path_text += path;
    m_changed.reserve(m_slots.capacity());
    return static_cast<position>(m_slots.size() - 1);
}

void variable_slots::freeze() {
    m_paths = {};
    std::scoped_lock const lock{m_mutex};
    m_path_text.shrink_to_fit();
    m_slots.shrink_to_fit();
    auto changed = std::exchange(m_changed, {});
    m_changed.reserve(m_slots.size());
    m_changed.assign(changed.begin(), changed.end());
}

void variable_slots::keep_changes(position variable, std::size_t limit) {
    std::scoped_lock const lock{m_mutex};
    m_queues.resize(std::max(m_queues.size(), variable + std::size_t{1}));
    m_queues[variable].limit = limit;
    m_slots[variable].has_queue = true;
}

void variable_slots::set(variable_change change) {
    require_type(change.position, change.value);
    std::scoped_lock const lock{m_mutex};
    record(std::move(change));
}

void variable_slots::set(std::vector<variable_change> changes) {
    std::scoped_lock const lock{m_mutex};
    for (auto& change : changes) {
        record(std::move(change));
    }
}

void variable_slots::record(variable_change change) {
    auto& slot = m_slots[change.position];
    slot.value = std::move(change.value);
    slot.quality = static_cast<std::uint8_t>(change.quality);
    slot.when = change.when;
    mark_changed(change.position);
}

void variable_slots::set_quality(position variable, variable_quality quality, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    m_slots[variable].quality = static_cast<std::uint8_t>(quality);
    m_slots[variable].when = when;
    mark_changed(variable);
}

void variable_slots::send_again(position variable) {
    std::scoped_lock const lock{m_mutex};
    mark_changed(variable);
}

void variable_slots::mark_changed(position variable) {
    auto& slot = m_slots[variable];
    if (slot.has_queue) {
        enqueue(variable);
    } else if (!slot.is_changed) {
        slot.is_changed = true;
        m_changed.push_back(variable);
    }
}

void variable_slots::enqueue(position variable) {
    auto& queue = queue_of(variable);
    auto& added = m_queued.emplace_back(m_slots[variable].as_change(variable));
    added.begins_event = m_queued.size() == 1 || queue.last_event == m_events
                      || added.when != std::prev(m_queued.end(), 2)->when;
    if (added.begins_event) {
        ++m_events;
    }
    queue.last_event = m_events;
    if (queue.waiting < queue.limit) {
        ++queue.waiting;
        return;
    }
    ++queue.dropped;
    ++queue.outdated;
    ++m_outdated;
    if (m_outdated > m_queued.size() / 2) {
        remove_outdated();
    }
}

// A take() leaves the queues as they are, so that it holds the lock for a moment only.
variable_slots::change_queue& variable_slots::queue_of(position variable) {
    auto& queue = m_queues[variable];
    if (std::exchange(queue.takes, m_takes) != m_takes) {
        queue.waiting = 0;
    }
    return queue;
}

// What begins an event hands that on to the next change.
void variable_slots::remove_outdated() {
    if (m_outdated == 0) {
        return;
    }
    auto kept = m_queued.begin();
    auto begins_event = false;
    for (auto& change : m_queued) {
        begins_event = begins_event || change.begins_event;
        auto& outdated = m_queues[change.position].outdated;
        if (outdated > 0) {
            --outdated;
            continue;
        }
        change.begins_event = std::exchange(begins_event, false);
        *kept++ = std::move(change);
    }
    m_queued.erase(kept, m_queued.end());
    m_outdated = 0;
}

std::vector<variable_change> variable_slots::take() {
    std::scoped_lock const lock{m_mutex};
    remove_outdated();
    ++m_takes;
    auto batch = std::exchange(m_queued, {});
    batch.reserve(batch.size() + m_changed.size());
    for (auto const variable : m_changed) {
        auto& slot = m_slots[variable];
        slot.is_changed = false;
        auto change = slot.as_change(variable);
        change.begins_event = batch.empty() || change.when != batch.back().when;
        batch.push_back(std::move(change));
    }
    m_changed.clear();
    return batch;
}

void variable_slots::put_back(std::vector<variable_change> const& batch, std::size_t first) {
    std::scoped_lock const lock{m_mutex};
    std::vector<variable_change> returned; // the newest one first
    for (auto next = batch.size(); next > first; --next) {
        auto const& change = batch[next - 1];
        if (!m_slots[change.position].has_queue) {
            continue;
        }
        auto& queue = queue_of(change.position);
        if (queue.waiting < queue.limit) {
            ++queue.waiting;
            returned.push_back(change);
            continue;
        }
        ++queue.dropped; // the newer ones stay
        if (!returned.empty() && change.begins_event) {
            returned.back().begins_event = true;
        }
    }
    m_queued.insert(m_queued.begin(), returned.rbegin(), returned.rend());
}

std::vector<variable_state> variable_slots::get_states() {
    std::vector<variable_state> states;
    states.reserve(m_slots.size());
    std::scoped_lock const lock{m_mutex};
    for (position variable = 0; variable < m_slots.size(); ++variable) {
        auto latest = m_slots[variable].as_change(variable);
        states.push_back(
            {std::string{path_of(variable)},
             get_permissions(variable),
             latest.value.get(),
             latest.quality,
             latest.when});
    }
    remove_outdated();
    std::for_each(m_queued.rbegin(), m_queued.rend(), [&states](auto const& waiting) {
        auto& state = states[waiting.position]; // the oldest comes last
        state.value = waiting.value.get();
        state.quality = waiting.quality;
        state.when = waiting.when;
    });
    return states;
}

std::optional<variable_slots::position> variable_slots::find(std::string_view path) const {
    std::scoped_lock const lock{m_mutex};
    for (position variable = 0; variable < m_slots.size(); ++variable) {
        if (path_of(variable) == path) {
            return variable;
        }
    }
    return std::nullopt;
}

std::string variable_slots::get_path(position variable) const {
    std::scoped_lock const lock{m_mutex};
    return std::string{path_of(variable)};
}

std::string_view variable_slots::path_of(position variable) const {
    auto const begin = m_slots[variable].path_begin;
    auto const is_last = variable + std::size_t{1} == m_slots.size();
    auto const end = is_last ? m_path_text.size() : m_slots[variable + 1].path_begin;
    return std::string_view{m_path_text}.substr(begin, end - begin);
}

variable_permissions variable_slots::get_permissions(position variable) const {
    return m_slots[variable].is_read_only ? variable_permissions::read_only
                                          : variable_permissions::read_write;
}

variable_value variable_slots::get(position variable) {
    std::scoped_lock const lock{m_mutex};
    return m_slots[variable].value.get();
}

std::uint64_t variable_slots::get_dropped_changes(position variable) {
    std::scoped_lock const lock{m_mutex};
    return variable < m_queues.size() ? m_queues[variable].dropped : 0;
}

std::uint32_t variable_slots::get_content_hash() const {
    std::vector<variable_signature> signatures;
    signatures.reserve(m_slots.size());
    std::scoped_lock const lock{m_mutex};
    for (position variable = 0; variable < m_slots.size(); ++variable) {
        signatures.emplace_back(
            path_of(variable), m_slots[variable].type, get_permissions(variable));
    }
    return content_hash(std::move(signatures));
}

bool variable_slots::has_type_of(position variable, std::size_t type) const {
    return type == m_slots[variable].type;
}

void variable_slots::require_type(position variable, packed_value const& value) const {
    if (has_type_of(variable, value.index())) {
        return;
    }
    throw std::invalid_argument{
        "the variable \"" + get_path(variable) + "\" cannot have a value of type "
        + std::string{type_name_of(value.get())}};
}

} // namespace arvenhold::corvel::hub
