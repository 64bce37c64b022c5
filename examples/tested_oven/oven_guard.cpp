// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven_guard.hpp"

namespace hub = arvenhold::corvel::hub;

oven_guard::oven_guard(hub::hub_access const& access)
    : m_consumer{"oven-guard", access} {
    m_consumer.follow<double>("oven", "temperature").on_change([this](auto const& now) {
        check(now);
    });
    m_consumer.start();
}

void oven_guard::check(hub::reading<double> const& temperature) {
    bool const is_too_hot = temperature.value > 250.0;
    if (temperature.is_good() && is_too_hot) {
        m_consumer.write("oven", "heating", false);
    }
    m_alarmed = !temperature.is_good() || is_too_hot;
}
