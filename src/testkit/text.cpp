// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "testkit/text.hpp"

#include <hub/names.hpp>
#include <hub/session/names.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <variant>

namespace arvenhold::corvel::hub::testkit {
namespace {

// The shortest digits that read back as the same number, with a point in each finite one, so that it
// does not look like an integer.
std::string text_of_number(double number) {
    constexpr std::size_t longest = 32;
    std::array<char, longest> digits{};
    auto const written = std::to_chars(digits.begin(), digits.end(), number);
    std::string text{digits.begin(), written.ptr};
    bool const looks_like_an_integer = text.find_first_of(".e") == std::string::npos;
    return std::isfinite(number) && looks_like_an_integer ? text + ".0" : text;
}

struct value_writer {
    std::string operator()(bool value) const {
        return value ? "true" : "false";
    }
    std::string operator()(double value) const {
        return text_of_number(value);
    }
    std::string operator()(std::int64_t value) const {
        return std::to_string(value);
    }
    std::string operator()(std::string const& value) const {
        return '"' + value + '"';
    }
    std::string operator()(timestamp value) const {
        return std::to_string(value.time_since_epoch().count()) + " ns since 1970";
    }
    std::string operator()(std::chrono::nanoseconds value) const {
        return std::to_string(value.count()) + " ns";
    }
};

} // namespace

std::string text_of(std::chrono::milliseconds limit) {
    constexpr std::chrono::milliseconds second = std::chrono::seconds{1};
    return limit % second == std::chrono::milliseconds::zero()
             ? std::to_string(limit / second) + " s"
             : std::to_string(limit.count()) + " ms";
}

std::string text_of(variable_value const& value) {
    return std::visit(value_writer{}, value);
}

std::string text_of(any_reading const& reading) {
    return text_of(reading.value) + ", " + std::string{name_of(reading.quality)} + ", "
         + std::string{name_of(reading.freshness)};
}

std::string joined(std::vector<std::string> const& items, std::string const& nothing) {
    std::string text;
    for (auto const& item : items) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return items.empty() ? nothing : text;
}

std::string find_mismatch(
    std::string const& path, variable_value const& held, variable_value const& given) {
    if (held.index() == given.index()) {
        return {};
    }
    return path + " has the type " + std::string{type_name_of(held)} + ", but " + text_of(given)
         + " has the type " + std::string{type_name_of(given)};
}

} // namespace arvenhold::corvel::hub::testkit
