// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What failure texts consist of. Pure functions.

#pragma once

#include <hub/common.hpp>
#include <hub/session/reading.hpp>

#include <chrono>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::testkit {

/// As "2 s" or "250 ms".
[[nodiscard]] std::string text_of(std::chrono::milliseconds limit);

/// The value alone: 20.0 is "20.0", 20 is "20", a string has quotes, times have nanoseconds.
[[nodiscard]] std::string text_of(variable_value const& value);

/// As "20.0, good, live".
[[nodiscard]] std::string text_of(any_reading const& reading);

/// The items separated by commas; `nothing` if there is none.
[[nodiscard]] std::string joined(
    std::vector<std::string> const& items, std::string const& nothing = "nothing");

/// Why a value does not fit a variable; empty if it does.
[[nodiscard]] std::string find_mismatch(
    std::string const& path, variable_value const& held, variable_value const& given);

} // namespace arvenhold::corvel::hub::testkit
