// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/consumer_variable.hpp>
#include <hub/provider_connection.hpp>

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// The variables that a connection has made of one definition. Filled by one thread, then shared
/// and never changed.
class definition_variables {
public:
    explicit definition_variables(std::size_t expected = 0) {
        m_in_order.reserve(expected);
    }

    /// Intended: of two variables with one id the first is kept.
    void add(std::shared_ptr<consumer_variable> variable) {
        auto const id = variable->get_id();
        auto const size = m_map.size();
        m_map.emplace_hint(m_map.end(), id, variable);
        if (size == 0) {
            m_first_id = id;
        }
        if (m_map.size() > size) {
            m_in_order.push_back(std::move(variable));
        }
    }

    /// Returns the variable with the given id, or null.
    [[nodiscard]] consumer_variable* find(variable_id id) const {
        // A provider gives consecutive ids, so a variable stands where its id lets expect it.
        std::size_t const position = id - m_first_id;
        if (position < m_in_order.size() && m_in_order[position]->get_id() == id) {
            return m_in_order[position].get();
        }
        auto const found = m_map.find(id);
        return found != m_map.end() ? found->second.get() : nullptr;
    }

    [[nodiscard]] consumer_variable_map const& map() const {
        return m_map;
    }

    /// Returns the map as applications get it; keeps all of `variables` alive.
    static std::shared_ptr<consumer_variable_map> map_of(
        std::shared_ptr<definition_variables> const& variables) {
        return {variables, variables ? &variables->m_map : nullptr};
    }

private:
    consumer_variable_map m_map;
    variable_id m_first_id = 0;
    // Those of the map, as the definition has them. Shared, as the application may change its map.
    std::vector<std::shared_ptr<consumer_variable>> m_in_order;
};

} // namespace arvenhold::corvel::hub
