// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/value_pace.hpp"

#include <utility>

namespace arvenhold::corvel::hub::ctl {

std::vector<any_reading> value_pace::pass(std::vector<any_reading> const& arrived) {
    std::vector<any_reading> passed;
    for (auto const& one : arrived) {
        auto const [found, is_first] = m_places[one.provider].try_emplace(one.path);
        auto& place = found->second;
        if (!is_first && one.freshness == freshness::live) {
            hold(place, one);
            continue;
        }
        if (place.has_value()) {
            passed.push_back(*std::exchange(m_held[*place], std::nullopt));
            place.reset();
        }
        passed.push_back(one);
    }
    return passed;
}

void value_pace::hold(std::optional<std::size_t>& place, any_reading const& one) {
    if (place.has_value()) {
        m_held[*place] = one;
    } else {
        place = m_held.size();
        m_held.emplace_back(one);
    }
}

std::vector<any_reading> value_pace::take_due(clock::time_point now) {
    if (now < m_next) {
        return {};
    }
    m_next = now + m_interval;
    return take_all();
}

std::vector<any_reading> value_pace::take_all() {
    std::vector<any_reading> due;
    for (auto& held : m_held) {
        if (held.has_value()) {
            m_places[held->provider][held->path].reset();
            due.push_back(std::move(*held));
        }
    }
    m_held.clear();
    return due;
}

std::optional<value_pace::clock::time_point> value_pace::get_next_time() const {
    return m_held.empty() ? std::nullopt : std::optional{m_next};
}

} // namespace arvenhold::corvel::hub::ctl
