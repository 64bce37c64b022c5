// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/replay_pace.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub::ctl {

timestamp replay_pace::place(timestamp when) {
    m_place = std::max(m_place, when);
    return m_place;
}

timestamp replay_pace::place_value(std::string const& variable, timestamp when) {
    auto const [found, is_first] =
        m_variables.try_emplace(variable, known_variable{m_place, when, std::nullopt});
    auto& known = found->second;
    if (is_first || when <= known.newest) {
        return m_place;
    }
    if (known.difference.has_value()) {
        m_place = std::max(m_place, when + *known.difference);
    } else {
        // Either the clocks agree, or the provider's is ahead; one that is behind is due at once.
        auto const after_first = known.first_place + (when - known.newest);
        m_place = std::max(m_place, std::min(when, after_first));
    }
    known.difference = m_place - when;
    known.newest = when;
    return m_place;
}

} // namespace arvenhold::corvel::hub::ctl
