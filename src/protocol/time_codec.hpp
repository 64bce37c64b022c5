// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

namespace arvenhold::corvel::hub {

// Points in time and spans of time on the wire: whole seconds and remaining nanoseconds, both with
// the sign of the whole. Pure functions.

inline constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;

inline Timestamp to_wire(std::chrono::nanoseconds span) {
    return {
        span.count() / nanoseconds_per_second,
        static_cast<std::int32_t>(span.count() % nanoseconds_per_second)};
}

inline Timestamp to_wire(timestamp point) {
    return to_wire(point.time_since_epoch());
}

// Numbers of seconds that are out of range wrap around, because signed overflow is undefined.
inline std::chrono::nanoseconds span_from_wire(Timestamp const& wire) {
    auto const count = static_cast<std::uint64_t>(wire.seconds())
                         * static_cast<std::uint64_t>(nanoseconds_per_second)
                     + static_cast<std::uint64_t>(wire.nanos());
    return std::chrono::nanoseconds{static_cast<std::int64_t>(count)};
}

inline timestamp point_from_wire(Timestamp const& wire) {
    return timestamp{span_from_wire(wire)};
}

// Intended: durations arrive in whole microseconds, truncated toward zero.
inline std::chrono::nanoseconds duration_from_wire(Timestamp const& wire) {
    return std::chrono::duration_cast<std::chrono::microseconds>(span_from_wire(wire));
}

} // namespace arvenhold::corvel::hub
