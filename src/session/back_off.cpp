// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/back_off.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

back_off::back_off(
    std::chrono::milliseconds first, std::chrono::milliseconds longest, std::uint32_t seed)
    : m_first{first}
    , m_longest{longest}
    , m_next{first} {
    std::seed_seq spread{seed}; // the engine's first numbers differ little for neighbouring seeds
    m_random.seed(spread);
}

std::chrono::milliseconds back_off::next() {
    auto const whole = m_next.count();
    std::uniform_int_distribution distribution{whole - whole / 2, whole};
    m_next = std::min(m_next * 2, m_longest);
    return std::chrono::milliseconds{distribution(m_random)};
}

void back_off::reset() {
    m_next = m_first;
}

} // namespace arvenhold::corvel::hub
