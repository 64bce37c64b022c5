// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/change_block.hpp"

namespace arvenhold::corvel::hub {

void change_block::make_room(std::size_t changes) {
    m_changes.reserve(m_changes.size() + changes);
    m_extents.reserve(m_extents.size() + changes);
}

void change_block::begin_event(timestamp when, variable_change first) {
    m_changes.push_back(std::move(first));
    try {
        m_extents.push_back({when, 1});
    } catch (...) {
        m_changes.pop_back();
        throw;
    }
}

void change_block::continue_event(variable_change next) {
    m_changes.push_back(std::move(next));
    ++m_extents.back().changes;
}

change_block::event change_block::front() const {
    auto const& first = m_extents[m_taken_extents];
    return {first.when, std::span{m_changes}.subspan(m_taken, first.changes)};
}

void change_block::pop_front() {
    m_taken += m_extents[m_taken_extents].changes;
    ++m_taken_extents;
}

void change_block::drop_taken() {
    m_changes.erase(
        m_changes.begin(), std::next(m_changes.begin(), static_cast<std::ptrdiff_t>(m_taken)));
    m_extents.erase(
        m_extents.begin(),
        std::next(m_extents.begin(), static_cast<std::ptrdiff_t>(m_taken_extents)));
    m_taken = 0;
    m_taken_extents = 0;
}

} // namespace arvenhold::corvel::hub
