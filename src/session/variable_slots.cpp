// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/variable_slots.hpp"

#include <hub/names.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

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
        {.path = path,
         .type = type,
         .permissions = permissions,
         .quality = variable_quality::uncertain_initial_value,
         .when = when,
         .value = std::move(initial)});
    m_changed.reserve(m_slots.capacity());
    return static_cast<position>(m_slots.size() - 1);
}

void variable_slots::freeze() {
    m_paths = {};
}

void variable_slots::keep_changes(position variable, std::size_t limit) {
    std::scoped_lock const lock{m_mutex};
    m_queues[variable].limit = limit;
    m_slots[variable].has_queue = true;
}

void variable_slots::set(variable_change change) {
    require_type(change.position, change.value);
    std::scoped_lock const lock{m_mutex};
    record(std::move(change));
}

void variable_slots::set(std::vector<variable_change> changes) {
    for (auto const& change : changes) {
        require_type(change.position, change.value);
    }
    std::scoped_lock const lock{m_mutex};
    for (auto& change : changes) {
        record(std::move(change));
    }
}

void variable_slots::record(variable_change change) {
    auto& slot = m_slots[change.position];
    slot.value = std::move(change.value);
    slot.quality = change.quality;
    slot.when = change.when;
    mark_changed(change.position);
}

void variable_slots::set_quality(position variable, variable_quality quality, timestamp when) {
    std::scoped_lock const lock{m_mutex};
    m_slots[variable].quality = quality;
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
    }
    if (!slot.is_changed) {
        slot.is_changed = true;
        m_changed.push_back(variable);
    }
}

void variable_slots::enqueue(position variable) {
    auto& queue = m_queues.at(variable);
    auto const& slot = m_slots[variable];
    queue.waiting.push_back({variable, slot.value, slot.quality, slot.when});
    if (queue.waiting.size() > queue.limit) {
        queue.waiting.pop_front();
        ++queue.dropped;
    }
}

void variable_slots::take(std::vector<variable_change>& batch) {
    std::scoped_lock const lock{m_mutex};
    for (auto const variable : m_changed) {
        auto& slot = m_slots[variable];
        slot.is_changed = false;
        if (!slot.has_queue) {
            batch.push_back({variable, slot.value, slot.quality, slot.when});
            continue;
        }
        auto& waiting = m_queues.at(variable).waiting;
        for (auto& change : waiting) {
            batch.push_back(std::move(change));
        }
        waiting.clear();
    }
    m_changed.clear();
}

void variable_slots::put_back(std::vector<variable_change> const& batch, std::size_t first) {
    std::scoped_lock const lock{m_mutex};
    for (auto next = batch.size(); next > first; --next) {
        auto const& change = batch[next - 1];
        auto& slot = m_slots[change.position];
        if (!slot.has_queue) {
            continue;
        }
        auto& queue = m_queues.at(change.position);
        if (queue.waiting.size() < queue.limit) {
            queue.waiting.push_front(change);
        } else {
            ++queue.dropped; // the newer ones stay
        }
        if (!slot.is_changed) {
            slot.is_changed = true;
            m_changed.push_back(change.position);
        }
    }
}

std::vector<variable_state> variable_slots::get_states() {
    std::vector<variable_state> states;
    states.reserve(m_slots.size());
    std::scoped_lock const lock{m_mutex};
    for (auto const& slot : m_slots) {
        states.push_back({slot.path, slot.permissions, slot.value, slot.quality, slot.when});
    }
    for (auto const& [variable, queue] : m_queues) {
        if (!queue.waiting.empty()) {
            auto const& oldest = queue.waiting.front();
            states[variable].value = oldest.value;
            states[variable].quality = oldest.quality;
            states[variable].when = oldest.when;
        }
    }
    return states;
}

std::optional<variable_slots::position> variable_slots::find(std::string const& path) const {
    auto const found = std::find_if(m_slots.begin(), m_slots.end(), [&path](recorded const& each) {
        return each.path == path;
    });
    if (found == m_slots.end()) {
        return std::nullopt;
    }
    return static_cast<position>(found - m_slots.begin());
}

std::string const& variable_slots::get_path(position variable) const {
    return m_slots[variable].path;
}

variable_permissions variable_slots::get_permissions(position variable) const {
    return m_slots[variable].permissions;
}

variable_value variable_slots::get(position variable) {
    std::scoped_lock const lock{m_mutex};
    return m_slots[variable].value;
}

std::uint64_t variable_slots::get_dropped_changes(position variable) {
    std::scoped_lock const lock{m_mutex};
    auto const found = m_queues.find(variable);
    return found != m_queues.end() ? found->second.dropped : 0;
}

std::uint32_t variable_slots::get_content_hash() const {
    std::vector<variable_signature> signatures;
    signatures.reserve(m_slots.size());
    for (auto const& slot : m_slots) {
        signatures.emplace_back(slot.path, slot.type, slot.permissions);
    }
    return content_hash(std::move(signatures));
}

bool variable_slots::has_type_of(position variable, variable_value const& value) const {
    return value.index() == m_slots[variable].type;
}

void variable_slots::require_type(position variable, variable_value const& value) const {
    if (has_type_of(variable, value)) {
        return;
    }
    throw std::invalid_argument{
        "the variable \"" + get_path(variable) + "\" cannot have a value of type "
        + std::string{type_name_of(value)}};
}

} // namespace arvenhold::corvel::hub
