// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// The ids of the variables that have changed since their list's last event. Shared by the list and
/// its variables; guarded by the list's lock.
///
/// 1. Until the set of ids is requested, the ids are in `m_ids`, each of them once and marked, and
///    the set is empty. From then on they are in the set, which the application may change too.
class pending_set {
public:
    /// A set for `size` variables, with ids from `lowest` on. Noting their changes allocates
    /// nothing.
    pending_set(variable_id lowest, std::size_t size)
        : m_lowest{lowest}
        , m_is_marked(size) {
        m_ids.reserve(size);
    }

    /// Uses a given set, which counts as requested.
    explicit pending_set(std::shared_ptr<modification_tracker> requested)
        : m_set{std::move(requested)} {}

    /// @throws std::bad_alloc  Only once the set has been requested. Nothing has changed.
    void insert(variable_id id) {
        if (m_set) {
            m_set->insert(id);
        } else if (!m_is_marked[id - m_lowest]) {
            m_is_marked[id - m_lowest] = true;
            m_ids.push_back(id);
        }
    }

    void clear() {
        if (m_set) {
            m_set->clear();
        }
        for (auto const id : m_ids) {
            m_is_marked[id - m_lowest] = false;
        }
        m_ids.clear();
    }

    [[nodiscard]] std::size_t size() const {
        return m_set ? m_set->size() : m_ids.size();
    }

    /// Calls `receive` with each id: of the application's ids, some may be no variable's.
    template <class Receiver>
    void for_each(Receiver receive) const {
        if (m_set) {
            std::for_each(m_set->begin(), m_set->end(), receive);
        } else {
            std::for_each(m_ids.begin(), m_ids.end(), receive);
        }
    }

    /// Returns the set of ids, in which they are kept from now on.
    std::shared_ptr<modification_tracker> const& request_set() {
        if (!m_set) {
            m_set = std::make_shared<modification_tracker>(m_ids.begin(), m_ids.end());
            m_ids.clear();
        }
        return m_set;
    }

private:
    variable_id const m_lowest = 0;
    std::vector<bool> m_is_marked;
    std::vector<variable_id> m_ids;
    std::shared_ptr<modification_tracker> m_set; // null until requested
};

} // namespace arvenhold::corvel::hub
