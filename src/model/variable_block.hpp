// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

/// Variables side by side in one block of memory, which lives as long as any of them is used. They
/// are made, and later updated in their order, faster than scattered ones. Variables cannot be
/// moved, so each is made in its place.
///
/// @tparam Variable  A class with a constructor that is open to everybody.
template <class Variable>
class variable_block {
public:
    /// @param capacity  How many places there are.
    explicit variable_block(std::size_t capacity)
        : m_places{std::make_shared<places>(capacity)} {}

    /// Makes a variable at `position`, in place of one that was made there before.
    template <class... Arguments>
    std::shared_ptr<Variable> make_at(std::size_t position, Arguments&&... arguments) {
        auto& place = (*m_places)[position];
        return {m_places, &place.emplace(std::forward<Arguments>(arguments)...)};
    }

    /// Returns the variable that was made at `position`.
    [[nodiscard]] Variable& at(std::size_t position) const {
        return *(*m_places)[position];
    }

private:
    using places = std::vector<std::optional<Variable>>;

    std::shared_ptr<places> m_places;
};

} // namespace arvenhold::corvel::hub
