// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/packed_value.hpp"
#include <hub/common.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// A change of a variable; `position` is its place in the order of declaration. As small as
/// possible: an application may be tens of megabytes ahead of the network.
struct variable_change {
    [[no_unique_address]] packed_value value; // what follows lies in its padding
    std::uint8_t quality = 0;                 // every variable_quality is below 256
    std::uint32_t position = 0;

    variable_change(std::uint32_t changed, variable_quality new_quality, packed_value new_value)
        : value{std::move(new_value)}
        , quality{static_cast<std::uint8_t>(new_quality)}
        , position{changed} {}
};

static_assert(sizeof(variable_change) == 16);

/// Successive events: changes of one time and of different variables.
class change_block {
public:
    struct event {
        timestamp when;
        std::span<variable_change const> changes; ///< At least one.
    };

    /// How many changes are of one event.
    struct extent {
        timestamp when;
        std::size_t changes = 0;
    };

    change_block() = default;

    /// @param extents  Those of all changes together.
    change_block(std::vector<variable_change> changes, std::vector<extent> extents)
        : m_changes{std::move(changes)}
        , m_extents{std::move(extents)} {}

    /// Returns whether there is no event.
    [[nodiscard]] bool empty() const {
        return m_extents.size() == m_taken_extents;
    }

    /// Returns how many changes there are.
    [[nodiscard]] std::size_t size() const {
        return m_changes.size() - m_taken;
    }

    /// Returns whether the last event has this time.
    [[nodiscard]] bool ends_at(timestamp when) const {
        return !empty() && m_extents.back().when == when;
    }

    /// Makes room for more changes, so that adding them cannot fail.
    void make_room(std::size_t changes);

    /// Begins an event with a change.
    void begin_event(timestamp when, variable_change first);

    /// Adds a change to the last event; there must be one.
    void continue_event(variable_change next);

    /// Returns the first event; there must be one. Valid until the block changes.
    [[nodiscard]] event front() const;

    /// Removes the first event; there must be one.
    void pop_front();

    /// Removes the changes for which a function returns true; it is called with each once, in their
    /// order.
    template <class Function>
    void remove_if(Function&& is_removed);

    /// Calls a function with the time of each change and the change, the last one first.
    template <class Function>
    void for_each_backwards(Function&& called) const;

private:
    std::vector<variable_change> m_changes;
    std::vector<extent> m_extents;
    std::size_t m_taken = 0;         // from m_changes
    std::size_t m_taken_extents = 0; // from m_extents

    void drop_taken();
};

template <class Function>
void change_block::remove_if(Function&& is_removed) {
    drop_taken();
    auto kept = m_changes.begin();
    auto next = m_changes.begin();
    for (auto& part : m_extents) {
        auto const end = std::next(next, static_cast<std::ptrdiff_t>(part.changes));
        auto const left = std::remove_if(next, end, is_removed);
        part.changes = static_cast<std::size_t>(left - next);
        kept = kept == next ? left : std::move(next, left, kept);
        next = end;
    }
    m_changes.erase(kept, m_changes.end());
    std::erase_if(m_extents, [](extent const& left) { return left.changes == 0; });
}

template <class Function>
void change_block::for_each_backwards(Function&& called) const {
    auto next = m_changes.rbegin();
    for (auto position = m_extents.size(); position > m_taken_extents; --position) {
        auto const& part = m_extents[position - 1];
        auto const end = std::next(next, static_cast<std::ptrdiff_t>(part.changes));
        std::for_each(next, end, [&](variable_change const& change) { called(part.when, change); });
        next = end;
    }
}

} // namespace arvenhold::corvel::hub
