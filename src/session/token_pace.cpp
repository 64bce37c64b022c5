// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/token_pace.hpp"

#include <algorithm>
#include <map>
#include <memory>

namespace arvenhold::corvel::hub {

token_pace::token_pace(std::chrono::milliseconds distance)
    : m_distance{distance} {}

token_pace::time_point token_pace::reserve(time_point wanted) {
    std::scoped_lock const lock{m_mutex};
    auto const reserved = std::max(wanted, m_next);
    m_next = reserved + m_distance;
    return reserved;
}

namespace {

struct endpoint_paces {
    std::mutex mutex;
    std::map<std::string, token_pace> paces CORVEL_HUB_GUARDED_BY(mutex);
};

} // namespace

token_pace& token_pace_of(std::string const& endpoint) {
    // Never destroyed: sessions may be static objects and repair themselves until the process ends.
    static auto* const known = std::make_unique<endpoint_paces>().release();
    std::scoped_lock const lock{known->mutex};
    return known->paces.try_emplace(endpoint, std::chrono::seconds{1}).first->second;
}

} // namespace arvenhold::corvel::hub
