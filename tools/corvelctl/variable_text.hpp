// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How a variable is shown, alike in all commands.

#pragma once

#include "corvelctl/output.hpp"
#include <hub/hub.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// A fingerprint as sixteen hexadecimal digits after "0x".
[[nodiscard]] std::string make_text(definition_fingerprint fingerprint);

/// "read-write" or "read-only".
[[nodiscard]] std::string make_text(variable_permissions permissions);

/// Returns the quality with a name, as "good".
///
/// @return nothing if no quality has this name.
[[nodiscard]] std::optional<variable_quality> parse_quality(std::string_view name);

/// The colour of a quality: green, yellow or red.
[[nodiscard]] colour colour_of(variable_quality quality);

/// The keys of the JSON object of one variable of a definition: provider, path, id, data_type and
/// access.
[[nodiscard]] json_object make_variable_object(
    std::string const& provider, consumer_variable& variable);

/// The keys of the JSON object of one value: provider, path, id, data_type, access, value, quality
/// and time.
[[nodiscard]] json_object make_value_object(
    std::string const& provider, consumer_variable& variable);

} // namespace arvenhold::corvel::hub::ctl
