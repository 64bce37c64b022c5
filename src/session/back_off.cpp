// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/back_off.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

namespace {

// The engine's own first numbers differ little for neighbouring seeds.
std::minstd_rand make_random(std::uint32_t seed) {
    std::seed_seq spread{seed};
    return std::minstd_rand{spread};
}

} // namespace

back_off::back_off(
    std::chrono::milliseconds first, std::chrono::milliseconds longest, std::uint32_t seed)
    : m_first{first}
    , m_longest{longest}
    , m_next{first}
    , m_random{make_random(seed)} {}

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
