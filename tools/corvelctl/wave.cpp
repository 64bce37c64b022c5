// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/wave.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <ratio>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr double tenth = 0.1;
constexpr double span_of_zero = 10;

double get_span(double initial) {
    return initial == 0 ? span_of_zero : std::abs(initial) * tenth;
}

double move(double initial, double height) {
    return std::isfinite(initial) ? initial + get_span(initial) * height : initial;
}

std::int64_t move(std::int64_t initial, double height) {
    auto const offset = std::max(get_span(static_cast<double>(initial)), 1.0) * height;
    std::int64_t moved = 0;
    auto const overflows = __builtin_add_overflow(initial, std::llround(offset), &moved);
    return overflows ? initial : moved;
}

std::chrono::nanoseconds move(std::chrono::nanoseconds initial, double height) {
    using std::chrono::microseconds;
    if (initial == std::chrono::nanoseconds::zero()) {
        return microseconds{std::llround(span_of_zero * std::micro::den * height)};
    }
    auto const moved = std::chrono::nanoseconds{move(initial.count(), height)};
    return std::chrono::duration_cast<microseconds>(moved); // what the receiver gets
}

} // namespace

std::map<std::string, wave_shape> const& get_wave_shapes() {
    static std::map<std::string, wave_shape> const shapes{
        {"sine", wave_shape::sine},
        {"ramp", wave_shape::ramp},
        {"step", wave_shape::step},
        {"random", wave_shape::random}};
    return shapes;
}

wave::wave(wave_shape shape)
    : m_shape{shape}
    , m_random{std::random_device{}()} {}

double wave::get_height(double place) {
    auto const phase = place - std::floor(place);
    constexpr double half = 0.5;
    switch (m_shape) {
    case wave_shape::sine:
        return std::sin(2 * std::numbers::pi * phase);
    case wave_shape::ramp:
        return 2 * phase - 1;
    case wave_shape::step:
        return phase < half ? 1 : -1;
    case wave_shape::random:
        break;
    }
    return std::uniform_real_distribution<double>{-1, 1}(m_random);
}

variable_value move_value(variable_value const& initial, double height, timestamp now) {
    struct {
        double height = 0;
        timestamp now{};
        variable_value operator()(bool /*flag*/) const {
            return height >= 0;
        }
        variable_value operator()(double number) const {
            return move(number, height);
        }
        variable_value operator()(std::int64_t number) const {
            return move(number, height);
        }
        variable_value operator()(std::string const& text) const {
            return text;
        }
        variable_value operator()(timestamp /*when*/) const {
            return now;
        }
        variable_value operator()(std::chrono::nanoseconds span) const {
            return move(span, height);
        }
    } const mover{height, now};
    return std::visit(mover, initial);
}

} // namespace arvenhold::corvel::hub::ctl
