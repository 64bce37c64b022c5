// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "oven.hpp"

namespace hub = arvenhold::corvel::hub;

oven::oven(hub::hub_access const& access)
    : m_provider{"oven", access}
    , m_temperature{m_provider.declare<double>("temperature", 20.0)}
    , m_set_point{m_provider.declare<double>(
          "set_point", 20.0, hub::writable, [](double wanted) { return wanted <= 300.0; })} {
    m_provider.start();
}

void oven::run_cycle() {
    m_temperature.set((m_temperature.get() + m_set_point.get()) / 2);
}
