// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "model/consumer_variable_impl.hpp"
#include "model/variable_block.hpp"
#include <hub/provider_connection.hpp>

#include <cstddef>
#include <memory>
#include <string_view>

namespace arvenhold::corvel::hub {

/// The variables that a connection has created from one definition. Filled by one thread, then
/// shared and never changed.
class CORVEL_HUB_INTERNAL consumer_variable_set {
public:
    /// @param capacity  How many variables may be added.
    explicit consumer_variable_set(std::size_t capacity = 0)
        : m_block{capacity} {}

    /// Intended: of two variables with one id the first is kept.
    ///
    /// If this throws, the set can only be destroyed.
    ///
    /// @param value  Moved from.
    void add(
        variable_id id,
        std::string_view path,
        variable_value& value,
        variable_permissions permissions) {
        auto const entry = m_map.emplace_hint(m_map.end(), id, nullptr);
        if (entry->second == nullptr) {
            entry->second = m_block.add(id, path, value, permissions, next_first_of_run());
        }
    }

    /// Returns the variable with the given id, or null.
    [[nodiscard]] consumer_variable::impl* find(variable_id id) const {
        // A provider assigns consecutive ids, so the id usually gives the position.
        if (m_block.size() != 0) {
            std::size_t const position = id - m_block.at(0).m_id;
            if (position < m_block.size() && m_block.at(position).m_id == id) {
                return &m_block.at(position);
            }
        }
        // The application can change the map, and may have put in null.
        auto const found = m_map.find(id);
        return found != m_map.end() && found->second ? &impl_of(*found->second) : nullptr;
    }

    /// Calls `work` for each variable of the definition, whatever the application has done to the
    /// map.
    template <class Work>
    void for_each(Work work) const {
        for (std::size_t position = 0; position < m_block.size(); ++position) {
            work(m_block.at(position));
        }
    }

    [[nodiscard]] consumer_variable_map const& map() const {
        return m_map;
    }

    /// Returns the map as applications get it; keeps all of `variables` alive.
    static std::shared_ptr<consumer_variable_map> map_of(
        std::shared_ptr<consumer_variable_set> const& variables) {
        return {variables, variables ? &variables->m_map : nullptr};
    }

private:
    // How many neighbours share a mutex: so many that an event hardly pays for it, so few that a
    // thread which reads one of them meanwhile waits for a microsecond or two if they are numbers.
    static constexpr std::size_t run_length = 32;

    consumer_variable_map m_map;
    variable_block<consumer_variable::impl> m_block; // those of the map, in the definition's order

    // Returns the first variable of the run that the next one belongs to; null if it begins a run.
    [[nodiscard]] consumer_variable::impl* next_first_of_run() const {
        auto const in_run = m_block.size() % run_length;
        return in_run != 0 ? &m_block.at(m_block.size() - in_run) : nullptr;
    }
};

} // namespace arvenhold::corvel::hub
