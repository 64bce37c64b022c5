// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "plant.hpp"

#include <algorithm>
#include <cmath>

namespace {

constexpr double lowest_set_point = 60;
constexpr double highest_set_point = 180;
constexpr double standby_temperature = 60;
constexpr double time_constant = 4; // seconds until two thirds of a change have happened

constexpr double pump_starts_below_mm = 700;
constexpr double pump_stops_above_mm = 760;
constexpr double pump_lifts_mm_per_second = 26;
constexpr double steam_takes_mm_per_second = 6;

// Neither burner nor gauge is perfectly steady.
double ripple(double clock) {
    return 0.2 * std::sin(2.1 * clock) + 0.1 * std::sin(5.3 * clock);
}

// What share of its pressure the boiler holds while the steam that it gives off swells and ebbs.
double share_of_pressure(double clock) {
    auto const demand = std::sin(0.25 * clock);
    return 1 - 0.08 * demand * demand;
}

} // namespace

plant::plant() {
    advance(seconds{0});
}

void plant::advance(seconds step) {
    std::scoped_lock const lock{m_mutex};
    m_clock += step.count();
    heat(step.count());
    feed(step.count());
}

void plant::heat(double step) {
    auto const target = m_state.mode == "heating" ? m_state.set_point_celsius : standby_temperature;
    auto const missing = target + ripple(m_clock) - m_state.temperature_celsius;
    m_state.temperature_celsius += missing * (1 - std::exp(-step / time_constant));
    // A rule of thumb for saturated steam.
    auto const saturated = std::pow(m_state.temperature_celsius / 100, 4);
    m_state.pressure_bar = saturated * share_of_pressure(m_clock);
}

void plant::feed(double step) {
    m_level_mm += m_state.pump_running ? step * pump_lifts_mm_per_second : 0;
    m_level_mm -= step * steam_takes_mm_per_second;
    m_state.level_mm = std::llround(m_level_mm);
    m_state.cycle_duration += std::chrono::duration_cast<std::chrono::nanoseconds>(seconds{step});
    if (m_state.pump_running) {
        m_state.pump_running = m_level_mm < pump_stops_above_mm;
    } else if (m_level_mm < pump_starts_below_mm) {
        m_state.pump_running = true;
        m_state.cycle_duration = std::chrono::nanoseconds{0};
    }
}

void plant::set_set_point(double celsius) {
    std::scoped_lock const lock{m_mutex};
    if (!std::isnan(celsius)) {
        m_state.set_point_celsius = std::clamp(celsius, lowest_set_point, highest_set_point);
    }
}

void plant::set_mode(std::string const& mode) {
    std::scoped_lock const lock{m_mutex};
    if (mode == "heating" || mode == "standby") {
        m_state.mode = mode;
    }
}

plant_state plant::get_state() {
    std::scoped_lock const lock{m_mutex};
    return m_state;
}
