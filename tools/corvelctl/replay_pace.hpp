// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// When each row of a recording is due.

#pragma once

#include <hub/common.hpp>

#include <string>
#include <unordered_map>

namespace arvenhold::corvel::hub::ctl {

/// Finds the place of each row in the recorded time, which is that of the recording computer.
///
/// Values have the times of their providers, whose clocks may differ from it. So the first change
/// of a variable fixes the difference, and further ones follow at their distances from it. A value
/// that is not newer than the one before, as after an outage, is due at once. A place that a timestamp
/// cannot express becomes the latest one that it can.
class replay_pace {
public:
    /// Places a row that has the time of the recording computer.
    timestamp place(timestamp when);

    /// Places a value.
    ///
    /// @param variable  What distinguishes the variable.
    timestamp place_value(std::string const& variable, timestamp when);

private:
    struct known_variable {
        timestamp place; // of its newest value
        timestamp newest;
        bool has_changed;
    };

    timestamp m_place{}; // of the latest row
    std::unordered_map<std::string, known_variable> m_variables;
};

} // namespace arvenhold::corvel::hub::ctl
