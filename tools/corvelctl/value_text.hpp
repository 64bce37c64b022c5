// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Values as text: how they are printed, and how they are read by the type of their definition.

#pragma once

#include "corvelctl/output.hpp"
#include <hub/common.hpp>

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace arvenhold::corvel::hub::ctl {

/// Returns false, zero or empty of each type, in the order of variable_value.
[[nodiscard]] std::array<variable_value, std::variant_size_v<variable_value>> const& get_zeros();

/// The value for people, in one line.
///
/// @param utc  Whether points in time are shown in UTC instead of local time.
[[nodiscard]] std::string make_text(variable_value const& value, bool utc);

/// Adds "value", and "value_text" or "value_base64" where a JSON number or string cannot carry the
/// value exactly.
void add_value(json_object& object, variable_value const& value);

/// Appends a value that a JSON number or Boolean carries exactly.
///
/// @return false for other values; nothing is appended then.
[[nodiscard]] bool append_plain_value(std::string& text, variable_value const& value);

struct parsed_value {
    variable_value value;
    std::string warning; ///< What is lost; empty for nothing.
};

/// Reads a value that a person has typed.
///
/// @param text  The value.
/// @param like  A value of the type that is wanted.
///
/// @throws failure  The text is not a value of this type, or out of its range (refused_locally).
[[nodiscard]] parsed_value parse_value(std::string_view text, variable_value const& like);

/// Reads a value from an object that add_value() has made.
///
/// @throws failure  As parse_value().
[[nodiscard]] parsed_value parse_object(nlohmann::json const& object, variable_value const& like);

/// Returns a double or an int64; nothing for other types.
[[nodiscard]] std::optional<double> find_number(variable_value const& value);

/// The same, and a bool as 0 or 1, and a duration in seconds.
[[nodiscard]] std::optional<double> find_measure(variable_value const& value);

/// Whether a provider that holds `held` has taken `written`: durations arrive in microseconds, and a
/// NaN is equal to another.
[[nodiscard]] bool is_same(variable_value const& written, variable_value const& held);

} // namespace arvenhold::corvel::hub::ctl
