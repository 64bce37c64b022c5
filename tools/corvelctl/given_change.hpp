// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Changes of a provider's variables that come as JSON objects: those of `read --json`, `watch --json`
// and `record`, and shorter ones.

#pragma once

#include "corvelctl/exit_code.hpp"
#include <hub/common.hpp>

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

namespace arvenhold::corvel::hub::ctl {

struct given_change {
    std::optional<variable_value> value; ///< Nothing if only the quality changes.
    variable_quality quality = variable_quality::good;
    std::optional<timestamp> when; ///< Nothing for the present time.
    std::string warning;           ///< As of parsed_value.
};

/// Reads "value", "value_text" or "value_base64", "quality" and "time". A value whose "freshness" is
/// not "live" gets the quality `bad`.
///
/// @param like  A value of the variable's type.
///
/// @throws failure                      Something is not what it should be, or there is neither a value
///                                      nor a quality.
/// @throws nlohmann::json::exception    Something is of another type in JSON.
[[nodiscard]] given_change parse_change(nlohmann::json const& object, variable_value const& like);

} // namespace arvenhold::corvel::hub::ctl
