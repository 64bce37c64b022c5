// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Lets through at most one value of each variable in an interval: the latest.

#pragma once

#include "corvelctl/supervisor.hpp"
#include <hub/session/reading.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// The first value of a variable, and everything that is not live, passes at once.
class value_pace {
public:
    using clock = supervisor::clock;

    explicit value_pace(clock::duration interval)
        : m_interval{interval} {}

    /// Returns what passes of the values that have arrived. A value that was held back passes before
    /// the loss of its variable.
    [[nodiscard]] std::vector<any_reading> pass(std::vector<any_reading> const& arrived);

    /// Returns what was held back, if the interval is over.
    [[nodiscard]] std::vector<any_reading> take_due(clock::time_point now);

    /// Returns everything that was held back.
    [[nodiscard]] std::vector<any_reading> take_all();

    /// When take_due() returns something; nothing if nothing is held back.
    [[nodiscard]] std::optional<clock::time_point> get_next_time() const;

private:
    // Where the value of a variable is in m_held; nothing if none is.
    using places = std::unordered_map<std::string, std::optional<std::size_t>>;

    void hold(std::optional<std::size_t>& place, any_reading const& one);

    clock::duration const m_interval;
    clock::time_point m_next{};
    std::unordered_map<std::string, places> m_places; // by provider and path
    std::vector<std::optional<any_reading>> m_held;   // nothing for what has passed before its time
};

} // namespace arvenhold::corvel::hub::ctl
