// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Points in time and spans of time as text. Pure functions, except that local time depends on the
// process's time zone.

#pragma once

#include <hub/common.hpp>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// "2026-11-22T03:08:24.123456789Z", always with nine digits.
[[nodiscard]] std::string make_rfc3339(timestamp when);

/// "2026-11-22 04:08:24.123", with as many digits as there are, in groups of three, and at least
/// three. In UTC with "Z" behind it.
[[nodiscard]] std::string make_readable(timestamp when, bool utc);

/// "2026-11-22 04:08:24.123": the same without what is finer than a millisecond.
[[nodiscard]] std::string make_short(timestamp when, bool utc);

/// Returns how much later the second time is, also if nanoseconds cannot express that.
[[nodiscard]] std::chrono::duration<double> get_span(timestamp from, timestamp to);

/// Reads RFC 3339 with "T" or a space, with "Z" or an offset, or "@" and nanoseconds since the epoch.
///
/// @return nothing if the text is something else, or out of the range of a timestamp.
[[nodiscard]] std::optional<timestamp> parse_time(std::string_view text);

/// "1.5s", "250ms", "12us" or "7ns": the largest of these units that gives at least 1.
[[nodiscard]] std::string make_readable(std::chrono::nanoseconds span);

/// "0.25s": seconds, with as many digits as needed.
[[nodiscard]] std::string make_seconds(std::chrono::nanoseconds span);

struct parsed_span {
    std::chrono::nanoseconds span{};
    bool is_exact = true; ///< False if the text was finer than a nanosecond.
};

/// Reads a decimal number with the unit ns, us, ms, s, m or min, h or d.
///
/// @return nothing if the text is something else, or out of range.
[[nodiscard]] std::optional<parsed_span> parse_span(std::string_view text);

} // namespace arvenhold::corvel::hub::ctl
