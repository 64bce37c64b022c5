// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "session/change_block.hpp"
#include <hub/common.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace arvenhold::corvel::hub {

/// All changes of the variables with a queue, from being recorded until they are sent. Guarded by its
/// owner's lock.
///
/// They are in blocks, and the changes of an update stay in the block in which they were collected:
/// what was written last is then still in the processor's caches when it is sent, and its memory is
/// used again soon.
///
/// Of each variable, the oldest changes may be outdated, because there are more than its limit; they
/// are at most half of all.
class change_backlog {
public:
    using position = std::uint32_t;

    /// Keeps up to `limit` changes of a variable.
    void keep(position variable, std::size_t limit);

    /// Appends a change of a variable with a queue.
    void add(variable_change change, timestamp when);

    /// Appends changes of variables with a queue, which begin an event.
    void add(std::vector<variable_change> changes, timestamp when);

    /// Removes and returns all.
    std::deque<change_block> take();

    /// Takes back what could not be sent, of variables with a queue.
    void put_back(std::deque<change_block> blocks);

    /// Counts changes that were taken and are lost, of variables with a queue.
    void count_dropped(std::span<variable_change const> lost);

    /// Calls a function with the time of each change and the change, the latest one first; with
    /// none that is outdated.
    template <class Function>
    void for_each_backwards(Function&& called);

    [[nodiscard]] std::uint64_t get_dropped(position variable) const;

private:
    struct change_queue {
        std::size_t limit = 0;   // 0 for a variable without a queue
        std::size_t waiting = 0; // since the take() with number `takes`
        std::uint64_t takes = 0;
        std::uint64_t last_event = 0; // the one that got a change of it last
        std::size_t outdated = 0;     // of those in m_blocks
        std::uint64_t dropped = 0;
    };

    std::deque<change_block> m_blocks;  // none is empty
    std::size_t m_size = 0;             // of all blocks together
    std::size_t m_outdated = 0;         // of them
    std::vector<change_queue> m_queues; // by position, up to the last
    std::uint64_t m_events = 0;         // how many have begun
    std::uint64_t m_takes = 0;

    [[nodiscard]] bool keeps(position variable) const;
    change_queue& queue_of(position variable);
    bool note(position variable, bool begins_event);
    void count(change_queue& queue);
    void remove_outdated();
    void limit_outdated();
};

template <class Function>
void change_backlog::for_each_backwards(Function&& called) {
    remove_outdated();
    std::for_each(m_blocks.rbegin(), m_blocks.rend(), [&called](change_block const& block) {
        block.for_each_backwards(called);
    });
}

} // namespace arvenhold::corvel::hub
