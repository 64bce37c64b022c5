// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How a consumer writes, and how it learns the result.

#pragma once

#include "inbox.hpp"
#include <hub/hub.hpp>

#include <chrono>
#include <cstdint>

namespace hub = arvenhold::corvel::hub;

class display;

/// Watches the boiler for some seconds, then changes its set point once and prints what happens.
class set_point_trial {
public:
    set_point_trial(hub::provider_connection& connection, display& display);

    /// Does the next step if it is due. Call it several times a second with everything new.
    void advance(news const& latest);

private:
    enum class phase {
        watching,
        written,
        taken,
        over
    };

    hub::provider_connection& m_connection;
    display& m_display;
    std::chrono::steady_clock::time_point const m_start = std::chrono::steady_clock::now();
    phase m_phase = phase::watching;
    std::uint64_t m_change_events = 0;
    double m_wanted = 0;
    double m_first_temperature = 0;

    void watch();
    void write();
    void check_answer(news const& latest);
    void follow();
};
