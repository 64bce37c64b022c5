// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Values that move, for simulated providers.

#pragma once

#include <hub/common.hpp>

#include <map>
#include <random>
#include <string>

namespace arvenhold::corvel::hub::ctl {

enum class wave_shape {
    sine,   ///< Up and down.
    ramp,   ///< Rises evenly, and falls at once.
    step,   ///< Jumps between two values.
    random, ///< Any value in between.
};

/// The shapes by the names that the user writes.
[[nodiscard]] std::map<std::string, wave_shape> const& get_wave_shapes();

class wave {
public:
    explicit wave(wave_shape shape);

    /// Returns the height, from -1 to 1, at a place of which 1 is a whole period.
    [[nodiscard]] double get_height(double place);

private:
    wave_shape const m_shape;
    std::minstd_rand m_random;
};

/// Moves a value around its initial one by a tenth of it, or by 10 (seconds, for a duration) if it is
/// zero; an integer at least by 1. A Boolean is true in the upper half, and a point in time is `now`.
/// Strings and doubles that are not finite stay as they are.
///
/// @param height  From -1 to 1.
[[nodiscard]] variable_value move_value(
    variable_value const& initial, double height, timestamp now);

} // namespace arvenhold::corvel::hub::ctl
