// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/session/provider_session.hpp>

/// An oven on the hub. Its temperature follows the set point, of which it takes up to 300.
class oven {
public:
    explicit oven(arvenhold::corvel::hub::hub_access const& access);

    /// Lets the time of one control cycle pass.
    void run_cycle();

private:
    arvenhold::corvel::hub::provider_session m_provider;
    arvenhold::corvel::hub::variable_handle<double> m_temperature;
    arvenhold::corvel::hub::variable_handle<double> m_set_point;
};
