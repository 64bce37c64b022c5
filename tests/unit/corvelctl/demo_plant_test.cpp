// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "plant.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct range {
    double least;
    double most;

    void include(double value) {
        least = std::min(least, value);
        most = std::max(most, value);
    }

    [[nodiscard]] double get_ratio() const {
        return most / least;
    }
};

TEST(pressure_of_the_plant, swings_while_the_temperature_is_steady) {
    constexpr plant::seconds step{0.2};
    constexpr int steps = 100;
    plant boiler;
    for (int count = 0; count < steps; ++count) {
        boiler.advance(step);
    }
    auto const warm = boiler.get_state();
    range pressure{warm.pressure_bar, warm.pressure_bar};
    range temperature{warm.temperature_celsius, warm.temperature_celsius};

    for (int count = 0; count < steps; ++count) {
        boiler.advance(step);
        pressure.include(boiler.get_state().pressure_bar);
        temperature.include(boiler.get_state().temperature_celsius);
    }

    EXPECT_LT(temperature.get_ratio(), 1.01);
    EXPECT_GT(pressure.get_ratio(), 1.05);
}

} // namespace
