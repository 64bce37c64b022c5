// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/token_pace.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

token_pace::token_pace(std::chrono::milliseconds distance)
    : m_distance{distance} {}

token_pace::time_point token_pace::begin_connect(time_point now) {
    std::scoped_lock const lock{m_mutex};
    auto const turn = std::max({now, m_next_connect, m_next_request});
    if (turn == now) {
        m_next_connect = now + m_distance;
    }
    return turn;
}

std::optional<token_pace::time_point> token_pace::reserve_request(
    time_point now, time_point latest) {
    std::scoped_lock const lock{m_mutex};
    auto const turn = std::max(now, m_next_request);
    if (turn > latest) {
        return std::nullopt;
    }
    m_next_request = turn + m_distance;
    return turn;
}

token_pace& process_token_pace() {
    static token_pace instance{std::chrono::seconds{1}};
    return instance;
}

} // namespace arvenhold::corvel::hub
