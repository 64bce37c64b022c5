// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "model/variable_block.hpp"
#include <hub/consumer_variable.hpp>
#include <hub/provider_connection.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// The variables that a connection has made of one definition. Filled by one thread, then shared
/// and never changed.
class consumer_variable_set {
public:
    /// @param capacity  How many variables may be added.
    explicit consumer_variable_set(std::size_t capacity = 0)
        : m_block{capacity} {}

    /// Intended: of two variables with one id the first is kept.
    ///
    /// @param value  Moved from.
    void add(
        variable_id id,
        std::string_view path,
        variable_value& value,
        variable_permissions permissions) {
        m_map.emplace_hint(m_map.end(), id, m_block.make_at(m_size, id, path, value, permissions));
        if (m_size == 0) {
            m_first_id = id;
        }
        m_size = m_map.size();
    }

    /// Returns the variable with the given id, or null.
    [[nodiscard]] consumer_variable* find(variable_id id) const {
        // A provider gives consecutive ids, so a variable stands where its id lets expect it.
        std::size_t const position = id - m_first_id;
        if (position < m_size && m_block.at(position).get_id() == id) {
            return &m_block.at(position);
        }
        auto const found = m_map.find(id);
        return found != m_map.end() ? found->second.get() : nullptr;
    }

    [[nodiscard]] consumer_variable_map const& map() const {
        return m_map;
    }

    /// Returns the map as applications get it; keeps all of `variables` alive.
    static std::shared_ptr<consumer_variable_map> map_of(
        std::shared_ptr<consumer_variable_set> const& variables) {
        return {variables, variables ? &variables->m_map : nullptr};
    }

    /// Applies an item of the change event with this number; the first event has the number 1.
    static void apply_event(
        consumer_variable& variable,
        variable_quality quality,
        std::optional<variable_value> const& value,
        timestamp when,
        std::uint64_t event_number) {
        variable.apply_event(quality, value, when, event_number);
    }

    /// Applies an item of a read reply. Changes nothing where an event that came after the request
    /// has brought something newer.
    ///
    /// @param latest_event_at_request  The number of the latest event before the request was sent;
    ///                                 0 if there was none.
    static void apply_reply(
        consumer_variable& variable,
        variable_quality quality,
        std::optional<variable_value> const& value,
        timestamp when,
        std::uint64_t latest_event_at_request) {
        variable.apply_reply(quality, value, when, latest_event_at_request);
    }

private:
    // Opens the door to the constructor.
    struct variable_in_place : consumer_variable {
        variable_in_place(
            variable_id id,
            std::string_view path,
            variable_value& value,
            variable_permissions permissions)
            : consumer_variable{id, std::string{path}, value, permissions} {}
    };

    consumer_variable_map m_map;
    variable_id m_first_id = 0;
    std::size_t m_size = 0;                    // as long as nobody has changed the map, its size
    variable_block<variable_in_place> m_block; // those of the map, as the definition has them
};

} // namespace arvenhold::corvel::hub
