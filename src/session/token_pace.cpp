// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/token_pace.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

token_pace::token_pace(std::chrono::milliseconds distance)
    : m_distance{distance} {}

token_pace::time_point token_pace::reserve(time_point wanted) {
    std::scoped_lock const lock{m_mutex};
    auto const reserved = std::max(wanted, m_next);
    m_next = reserved + m_distance;
    return reserved;
}

token_pace& process_token_pace() {
    static token_pace instance{std::chrono::seconds{1}};
    return instance;
}

} // namespace arvenhold::corvel::hub
