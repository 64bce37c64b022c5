// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/odd_messages.hpp"
#include <hub/common.hpp>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace arvenhold::corvel::hub::fuzz {

// What the values in odd tables mean, in words other than the library's.

inline constexpr std::uint8_t duration_tag = 2;
inline constexpr std::uint8_t string_tag = 5;

// The alternative of a value's field that goes with a tag; none for a tag without a type.
inline std::optional<std::size_t> alternative_of(std::uint8_t tag) {
    switch (tag) {
    case 1:
        return 0; // bool
    case 3:
        return 1; // double
    case 4:
        return 2; // int64
    case string_tag:
        return 3; // text
    case duration_tag:
    case 6:
        return 4; // span and point in time
    default:
        return std::nullopt;
    }
}

// Wraps around, as the readers do.
inline std::int64_t nanoseconds_of(wire::time_struct const& time) {
    return static_cast<std::int64_t>(
        static_cast<std::uint64_t>(time.seconds) * 1'000'000'000U
        + static_cast<std::uint64_t>(std::int64_t{time.nanos}));
}

inline timestamp point_of(wire::time_struct const& time) {
    return timestamp{std::chrono::nanoseconds{nanoseconds_of(time)}};
}

inline std::chrono::nanoseconds span_of(wire::time_struct const& time) {
    auto const count = nanoseconds_of(time);
    return std::chrono::nanoseconds{count - count % 1000};
}

// What a tag makes of the field that belongs to it; of an absent one, the type's zero.
inline variable_value value_of(std::uint8_t tag, std::optional<wire::value_field> const& field) {
    switch (tag) {
    case 1:
        return field ? std::get<bool>(*field) : false;
    case duration_tag:
        return span_of(field ? std::get<wire::time_struct>(*field) : wire::time_struct{});
    case 3:
        return field ? std::get<double>(*field) : 0.0;
    case 4:
        return field ? std::get<std::int64_t>(*field) : 0;
    case string_tag:
        return std::get<std::string>(*field);
    default:
        return point_of(field ? std::get<wire::time_struct>(*field) : wire::time_struct{});
    }
}

inline bool is_same(variable_value const& one, variable_value const& other) {
    auto const* const number = std::get_if<double>(&one);
    auto const* const other_number = std::get_if<double>(&other);
    if (number != nullptr && other_number != nullptr) {
        // Bit by bit, for numbers that are none.
        return std::bit_cast<std::uint64_t>(*number) == std::bit_cast<std::uint64_t>(*other_number);
    }
    return one == other;
}

} // namespace arvenhold::corvel::hub::fuzz
