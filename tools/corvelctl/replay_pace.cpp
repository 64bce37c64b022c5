// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/replay_pace.hpp"

#include <algorithm>
#include <cstdint>

namespace arvenhold::corvel::hub::ctl {

namespace {

// The place that is as much later as `to` is than `from`.
timestamp move_on(timestamp place, timestamp from, timestamp to) {
    auto const count = [](timestamp when) {
        return when.time_since_epoch().count();
    };
    std::int64_t distance = 0;
    std::int64_t moved = 0;
    if (__builtin_sub_overflow(count(to), count(from), &distance)
        || __builtin_add_overflow(count(place), distance, &moved)) {
        return timestamp::max();
    }
    return timestamp{timestamp::duration{moved}};
}

} // namespace

timestamp replay_pace::place(timestamp when) {
    m_place = std::max(m_place, when);
    return m_place;
}

timestamp replay_pace::place_value(std::string const& variable, timestamp when) {
    auto const [found, is_first] =
        m_variables.try_emplace(variable, known_variable{m_place, when, false});
    auto& known = found->second;
    if (is_first || when <= known.newest) {
        return m_place;
    }
    auto due = move_on(known.place, known.newest, when);
    if (!known.has_changed) {
        // Either the clocks agree, or the provider's is ahead; one that is behind is due at once.
        due = std::min(when, due);
    }
    known = {place(due), when, true};
    return m_place;
}

} // namespace arvenhold::corvel::hub::ctl
