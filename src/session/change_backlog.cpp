// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/change_backlog.hpp"

#include <algorithm>
#include <iterator>
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

void change_backlog::add(variable_change change) {
    auto const continues = !m_blocks.empty() && change.when == m_blocks.back().back().when;
    note(change, !continues);
    if (change.begins_event && (m_blocks.empty() || m_blocks.back().size() >= block_size)) {
        m_blocks.emplace_back();
    }
    m_blocks.back().push_back(std::move(change));
    limit_outdated();
}

void change_backlog::add(change_block changes) {
    if (changes.empty()) {
        return;
    }
    auto begins_event = true;
    for (auto& change : changes) {
        note(change, std::exchange(begins_event, false));
    }
    m_blocks.push_back(std::move(changes));
    limit_outdated();
}

// An event has one change of a variable at most.
void change_backlog::note(variable_change& added, bool begins_event) {
    auto& queue = queue_of(added.position);
    added.begins_event = begins_event || queue.last_event == m_events;
    if (added.begins_event) {
        ++m_events;
    }
    queue.last_event = m_events;
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
        remove_outdated(block);
    }
    m_blocks.erase(
        std::remove_if(
            m_blocks.begin(), m_blocks.end(), [](auto const& block) { return block.empty(); }),
        m_blocks.end());
    m_size -= std::exchange(m_outdated, 0);
}

// What begins an event hands that on to the next change.
void change_backlog::remove_outdated(change_block& block) {
    auto kept = block.begin();
    auto begins_event = false;
    for (auto& change : block) {
        begins_event = begins_event || change.begins_event;
        auto& outdated = m_queues[change.position].outdated;
        if (outdated > 0) {
            --outdated;
            continue;
        }
        change.begins_event = std::exchange(begins_event, false);
        *kept++ = std::move(change);
    }
    block.erase(kept, block.end());
}

std::deque<change_block> change_backlog::take() {
    remove_outdated();
    ++m_takes;
    m_size = 0;
    return std::exchange(m_blocks, {});
}

void change_backlog::put_back(std::deque<change_block> const& blocks, std::size_t first) {
    change_block returned; // the newest one first
    for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
        auto const is_first = std::next(block) == blocks.rend();
        for (auto next = block->size(); next > (is_first ? first : 0); --next) {
            put_back((*block)[next - 1], returned);
        }
    }
    if (returned.empty()) {
        return;
    }
    returned.back().begins_event = true;
    std::reverse(returned.begin(), returned.end());
    m_size += returned.size();
    m_blocks.push_front(std::move(returned));
}

// What does not fit is dropped: the newer ones stay.
void change_backlog::put_back(variable_change const& change, change_block& returned) {
    if (change.position >= m_queues.size() || m_queues[change.position].limit == 0) {
        return;
    }
    auto& queue = queue_of(change.position);
    if (queue.waiting < queue.limit) {
        ++queue.waiting;
        returned.push_back(change);
        return;
    }
    ++queue.dropped;
    if (!returned.empty() && change.begins_event) {
        returned.back().begins_event = true;
    }
}

std::uint64_t change_backlog::get_dropped(position variable) const {
    return variable < m_queues.size() ? m_queues[variable].dropped : 0;
}

} // namespace arvenhold::corvel::hub
