// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/variable_slots.hpp"

#include <hub/names.hpp>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Makes room for more elements, and for some to come, so that adding them cannot fail.
template <class Container>
void make_room(Container& grown, std::size_t added) {
    auto const needed = grown.size() + added;
    if (needed > grown.capacity()) {
        grown.reserve(2 * needed);
    }
}

} // namespace

variable_change variable_slots::recorded::as_change(position variable) const {
    return {variable, static_cast<variable_quality>(quality), value};
}

variable_slots::position variable_slots::add(
    std::string const& path,
    variable_value initial,
    variable_permissions permissions,
    timestamp when) {
    std::scoped_lock const lock{m_mutex};
    // First all that can fail, so that a failure leaves nothing behind.
    make_room(m_slots, 1);
    make_room(m_types, 1);
    m_changed.reserve(m_slots.capacity());
    make_room(m_path_text, path.size());
    auto const type = static_cast<std::uint8_t>(initial.index());
    packed_value value{std::move(initial)};
    if (!m_paths.insert(path).second) {
        throw std::invalid_argument{"the variable \"" + path + "\" has been declared before"};
    }
    m_slots.push_back(
        {.path_begin = static_cast<std::uint32_t>(m_path_text.size()),
         .quality = static_cast<std::uint8_t>(variable_quality::uncertain_initial_value),
         .is_read_only = permissions == variable_permissions::read_only,
         .is_changed = false,
         .has_queue = false,
         .when = when,
         .value = std::move(value)});
    m_types.push_back(type);
    m_path_text += path;
    return static_cast<position>(m_slots.size() - 1);
}

void variable_slots::freeze() {
    std::scoped_lock const lock{m_mutex};
    m_paths = {};
    m_path_text.shrink_to_fit();
    m_slots.shrink_to_fit();
    m_types.shrink_to_fit();
    auto changed = std::exchange(m_changed, {});
    m_changed.reserve(m_slots.size());
    m_changed.assign(changed.begin(), changed.end());
}

void variable_slots::keep_changes(position variable, std::size_t limit) {
    std::scoped_lock const lock{m_mutex};
    m_backlog.keep(variable, limit);
    m_slots[variable].has_queue = true;
}

void variable_slots::set(variable_change change, timestamp when) {
    auto const variable = change.position;
    std::scoped_lock const lock{m_mutex};
    require_type(change);
    record(std::move(change), when);
    mark_changed(variable);
}

void variable_slots::set(std::vector<variable_change> changes, timestamp when) {
    m_update_size.store(changes.size(), std::memory_order_relaxed);
    std::scoped_lock const lock{m_mutex};
    for (auto const& change : changes) {
        require_type(change);
    }
    auto kept = changes.begin(); // before it those with a queue
    for (auto& change : changes) {
        auto const variable = change.position;
        if (!m_slots[variable].has_queue) {
            record(std::move(change), when);
            mark_changed(variable);
            continue;
        }
        record(change, when);
        if (&*kept != &change) {
            *kept = std::move(change);
        }
        ++kept;
    }
    changes.erase(kept, changes.end());
    m_backlog.add(std::move(changes), when);
}

std::vector<variable_change> variable_slots::make_list() const {
    std::vector<variable_change> empty;
    empty.reserve(m_update_size.load(std::memory_order_relaxed));
    return empty;
}

void variable_slots::require_type(variable_change const& change) const {
    if (change.value.index() != m_types[change.position]) {
        throw std::invalid_argument{
            "the variable \"" + std::string{path_of(change.position)}
            + "\" cannot have a value of type " + std::string{type_name_of(change.value.get())}};
    }
}

template <class Change>
void variable_slots::record(Change&& change, timestamp when) {
    auto& slot = m_slots[change.position];
    slot.value = std::forward<Change>(change).value;
    slot.quality = change.quality;
    slot.when = when;
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
        m_backlog.add(slot.as_change(variable), slot.when);
    } else if (!slot.is_changed) {
        slot.is_changed = true;
        m_changed.push_back(variable);
    }
}

std::deque<change_block> variable_slots::take() {
    std::scoped_lock const lock{m_mutex};
    auto blocks = m_backlog.take();
    if (m_changed.empty()) {
        return blocks;
    }
    if (blocks.empty()) {
        blocks.emplace_back();
    }
    auto& last = blocks.back();
    last.make_room(m_changed.size());
    for (auto const variable : m_changed) {
        auto& slot = m_slots[variable];
        slot.is_changed = false;
        if (last.ends_at(slot.when)) {
            last.continue_event(slot.as_change(variable));
        } else {
            last.begin_event(slot.when, slot.as_change(variable));
        }
    }
    m_changed.clear();
    return blocks;
}

std::size_t variable_slots::drop_first_event(change_block& block) {
    auto const dropped = block.front().changes;
    {
        std::scoped_lock const lock{m_mutex};
        m_backlog.count_dropped(dropped);
    }
    block.pop_front();
    return dropped.size();
}

void variable_slots::put_back(std::deque<change_block> blocks) {
    std::scoped_lock const lock{m_mutex};
    m_backlog.put_back(std::move(blocks));
}

std::vector<variable_state> variable_slots::get_states() {
    std::vector<variable_state> states;
    std::scoped_lock const lock{m_mutex};
    states.reserve(m_slots.size());
    for (position variable = 0; variable < m_slots.size(); ++variable) {
        auto const& latest = m_slots[variable];
        states.push_back(
            {std::string{path_of(variable)},
             permissions_of(variable),
             latest.value.get(),
             static_cast<variable_quality>(latest.quality),
             latest.when});
    }
    m_backlog.for_each_backwards([&states](timestamp when, variable_change const& waiting) {
        auto& state = states[waiting.position]; // the oldest comes last
        state.value = waiting.value.get();
        state.quality = static_cast<variable_quality>(waiting.quality);
        state.when = when;
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
    std::scoped_lock const lock{m_mutex};
    return permissions_of(variable);
}

bool variable_slots::has_type(position variable, std::size_t type) const {
    std::scoped_lock const lock{m_mutex};
    return type == m_types[variable];
}

variable_permissions variable_slots::permissions_of(position variable) const {
    return m_slots[variable].is_read_only ? variable_permissions::read_only
                                          : variable_permissions::read_write;
}

variable_value variable_slots::get(position variable) {
    std::scoped_lock const lock{m_mutex};
    return m_slots[variable].value.get();
}

std::uint64_t variable_slots::get_dropped_changes(position variable) {
    std::scoped_lock const lock{m_mutex};
    return m_backlog.get_dropped(variable);
}

std::uint32_t variable_slots::get_content_hash() const {
    std::vector<variable_signature> signatures;
    std::scoped_lock const lock{m_mutex};
    signatures.reserve(m_slots.size());
    for (position variable = 0; variable < m_slots.size(); ++variable) {
        signatures.emplace_back(path_of(variable), m_types[variable], permissions_of(variable));
    }
    return content_hash(std::move(signatures));
}

} // namespace arvenhold::corvel::hub
