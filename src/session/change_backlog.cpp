// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/change_backlog.hpp"

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// How many changes of single variables come into one block.
constexpr std::size_t block_size = 1'000;

} // namespace

void change_backlog::keep(position variable, std::size_t limit) {
    m_queues.resize(std::max(m_queues.size(), variable + std::size_t{1}));
    m_queues[variable].limit = limit;
}

void change_backlog::add(variable_change change, timestamp when) {
    auto const continues = !m_blocks.empty() && m_blocks.back().ends_at(when);
    if (!note(change.position, !continues)) {
        m_blocks.back().continue_event(std::move(change));
    } else {
        if (m_blocks.empty() || m_blocks.back().size() >= block_size) {
            m_blocks.emplace_back();
        }
        m_blocks.back().begin_event(when, std::move(change));
    }
    limit_outdated();
}

void change_backlog::add(std::vector<variable_change> changes, timestamp when) {
    if (changes.empty()) {
        return;
    }
    std::vector<change_block::extent> extents;
    extents.reserve(1); // before anything is counted
    for (auto const& change : changes) {
        if (note(change.position, extents.empty())) {
            extents.push_back({when});
        }
        ++extents.back().changes;
    }
    m_blocks.emplace_back(std::move(changes), std::move(extents));
    limit_outdated();
}

// Returns whether the change begins an event: one has at most one change of a variable.
bool change_backlog::note(position variable, bool begins_event) {
    auto& queue = queue_of(variable);
    begins_event = begins_event || queue.last_event == m_events;
    if (begins_event) {
        ++m_events;
    }
    queue.last_event = m_events;
    count(queue);
    return begins_event;
}

void change_backlog::count(change_queue& queue) {
    ++m_size;
    if (queue.waiting < queue.limit) {
        ++queue.waiting;
        return;
    }
    ++queue.dropped;
    ++queue.outdated;
    ++m_outdated;
}

// A take() leaves the queues as they are, so that it is short.
change_backlog::change_queue& change_backlog::queue_of(position variable) {
    auto& queue = m_queues[variable];
    if (std::exchange(queue.takes, m_takes) != m_takes) {
        queue.waiting = 0;
    }
    return queue;
}

void change_backlog::limit_outdated() {
    if (m_outdated > m_size / 2) {
        remove_outdated();
    }
}

void change_backlog::remove_outdated() {
    if (m_outdated == 0) {
        return;
    }
    for (auto& block : m_blocks) {
        block.remove_if([this](variable_change const& change) {
            auto& outdated = m_queues[change.position].outdated;
            auto const is_removed = outdated > 0;
            outdated -= is_removed ? 1 : 0;
            return is_removed;
        });
    }
    std::erase_if(m_blocks, [](change_block const& block) { return block.empty(); });
    m_size -= std::exchange(m_outdated, 0);
}

std::deque<change_block> change_backlog::take() {
    remove_outdated();
    ++m_takes;
    m_size = 0;
    return std::exchange(m_blocks, {});
}

// What is too much is outdated: the newer ones stay.
void change_backlog::put_back(std::deque<change_block> blocks) {
    for (; !blocks.empty(); blocks.pop_back()) {
        auto& newest = blocks.back();
        newest.remove_if([this](variable_change const& change) { return !keeps(change.position); });
        newest.for_each_backwards([this](timestamp /*when*/, variable_change const& change) {
            count(queue_of(change.position));
        });
        if (!newest.empty()) {
            m_blocks.push_front(std::move(newest));
        }
    }
    limit_outdated();
}

bool change_backlog::keeps(position variable) const {
    return variable < m_queues.size() && m_queues[variable].limit > 0;
}

void change_backlog::count_dropped(std::span<variable_change const> lost) {
    for (auto const& change : lost) {
        if (keeps(change.position)) {
            ++m_queues[change.position].dropped;
        }
    }
}

std::uint64_t change_backlog::get_dropped(position variable) const {
    return variable < m_queues.size() ? m_queues[variable].dropped : 0;
}

} // namespace arvenhold::corvel::hub
