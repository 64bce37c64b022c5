// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A steam boiler made of numbers. It knows nothing of the hub.

#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

/// What can be measured and set at the boiler.
struct plant_state {
    double pressure_bar = 0;
    double temperature_celsius = 118;
    std::int64_t level_mm = 0;
    bool pump_running = false;
    std::chrono::nanoseconds cycle_duration{0};
    double set_point_celsius = 120;
    std::string mode = "heating";
};

/// The boiler, about a hundred times faster than a real one: the temperature follows the set point,
/// the pressure follows the temperature and the demand for steam, and a pump replaces the water that
/// leaves as steam.
///
/// @par Thread safety
/// All operations may be called from any thread.
class plant {
public:
    using seconds = std::chrono::duration<double>;

    plant();

    /// Advances the time.
    void advance(seconds step);

    /// Sets the temperature to reach; limited to 60 to 180.
    void set_set_point(double celsius);

    /// Sets the mode, "heating" or "standby"; ignores any other.
    void set_mode(std::string const& mode);

    plant_state get_state();

private:
    void heat(double step);
    void feed(double step);

    std::mutex m_mutex; // guards everything below
    plant_state m_state;
    double m_level_mm = 710;
    double m_clock = 0;
};
