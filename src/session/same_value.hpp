// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <cmath>

namespace arvenhold::corvel::hub {

/// Compares type and value of what was sent and what has arrived. "Not a number" is equal to nothing,
/// and yet a value that stays as it is; durations arrive in whole microseconds.
inline bool is_same(variable_value const& one, variable_value const& other) {
    auto const* const number = std::get_if<double>(&one);
    auto const* const other_number = std::get_if<double>(&other);
    if (number != nullptr && other_number != nullptr && std::isnan(*number)) {
        return std::isnan(*other_number);
    }
    auto const* const span = std::get_if<std::chrono::nanoseconds>(&one);
    auto const* const other_span = std::get_if<std::chrono::nanoseconds>(&other);
    if (span != nullptr && other_span != nullptr) {
        using std::chrono::microseconds;
        return std::chrono::duration_cast<microseconds>(*span)
            == std::chrono::duration_cast<microseconds>(*other_span);
    }
    return one == other;
}

} // namespace arvenhold::corvel::hub
