// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/wave.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <variant>
#include <vector>

namespace arvenhold::corvel::hub::ctl {
namespace {

using namespace std::chrono_literals;

struct height_case {
    wave_shape shape;
    double place;
    double height;
};

TEST(wave, has_the_height_of_its_shape) {
    std::vector<height_case> const cases{
        {wave_shape::sine, 0, 0},
        {wave_shape::sine, 0.25, 1},
        {wave_shape::sine, 7.75, -1},
        {wave_shape::ramp, 0, -1},
        {wave_shape::ramp, 0.5, 0},
        {wave_shape::ramp, 3.75, 0.5},
        {wave_shape::step, 0, 1},
        {wave_shape::step, 0.5, -1},
        {wave_shape::step, 2.25, 1},
    };
    for (auto const& one : cases) {
        EXPECT_NEAR(wave{one.shape}.get_height(one.place), one.height, 1e-9) << one.place;
    }
}

TEST(wave, is_within_its_bounds_and_moves_when_random) {
    wave moving{wave_shape::random};
    auto const first = moving.get_height(0);
    auto has_moved = false;
    for (int count = 0; count < 100; ++count) {
        auto const height = moving.get_height(0);
        EXPECT_LE(std::abs(height), 1);
        has_moved = has_moved || height != first;
    }
    EXPECT_TRUE(has_moved);
}

struct move_case {
    variable_value initial;
    double height;
    variable_value moved;
};

TEST(move_value, moves_by_a_tenth_and_keeps_what_cannot_move) {
    auto const now = timestamp{5s};
    auto const most = std::numeric_limits<std::int64_t>::max();
    auto const infinity = std::numeric_limits<double>::infinity();
    std::vector<move_case> const cases{
        {650.0, 1, 715.0},
        {650.0, 0, 650.0},
        {0.0, -1, -10.0},
        {infinity, 1, infinity},
        {std::int64_t{12}, 1, std::int64_t{13}},
        {std::int64_t{0}, -0.5, std::int64_t{-5}},
        {most, 1, most},
        {false, 0.1, true},
        {true, -0.1, false},
        {std::string{"heating"}, 1, std::string{"heating"}},
        {timestamp{}, 1, now},
        {std::chrono::nanoseconds{400ms}, -1, std::chrono::nanoseconds{360ms}},
        {std::chrono::nanoseconds{0}, 0.5, std::chrono::nanoseconds{5s}},
    };
    for (auto const& one : cases) {
        EXPECT_EQ(move_value(one.initial, one.height, now), one.moved)
            << one.initial.index() << ' ' << one.height;
    }
}

} // namespace
} // namespace arvenhold::corvel::hub::ctl
