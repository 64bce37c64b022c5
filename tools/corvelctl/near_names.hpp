// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Finds what a user may have meant.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Returns up to three of the names, the nearest first, that differ from the given one in a few
/// letters, in case, or that contain it.
[[nodiscard]] std::vector<std::string> find_near_names(
    std::string_view given, std::vector<std::string> const& names);

/// Returns `; did you mean "a" or "b"?`; empty if no name is near.
[[nodiscard]] std::string ask_did_you_mean(
    std::string_view given, std::vector<std::string> const& names);

} // namespace arvenhold::corvel::hub::ctl
