// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <cmath>

namespace arvenhold::corvel::hub {

/// Compares type and value. "Not a number" is equal to nothing, and yet a value that stays as it is.
inline bool is_same(variable_value const& one, variable_value const& other) {
    auto const* const number = std::get_if<double>(&one);
    auto const* const other_number = std::get_if<double>(&other);
    if (number != nullptr && other_number != nullptr && std::isnan(*number)) {
        return std::isnan(*other_number);
    }
    return one == other;
}

} // namespace arvenhold::corvel::hub
