// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Which variables of a provider a user means.

#pragma once

#include "corvelctl/exit_code.hpp"
#include <hub/hub.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Whether a word stands for several paths, as matches_pattern() compares them.
[[nodiscard]] bool is_pattern(std::string_view word);

/// Returns the variables that are named, each once: those of the first argument first, the variables
/// of one pattern in the order of their paths.
///
/// @param wanted    Paths, patterns, and ids as "#12"; none means all.
/// @param provider  For error texts.
///
/// @throws failure  An argument names no variable (not_found).
[[nodiscard]] std::vector<std::shared_ptr<consumer_variable>> select_variables(
    current_variables const& all,
    std::vector<std::string> const& wanted,
    std::string const& provider);

/// Returns the variable with this path or id.
///
/// @throws failure  There is none (not_found).
[[nodiscard]] std::shared_ptr<consumer_variable> require_variable(
    current_variables const& all, std::string const& wanted, std::string const& provider);

/// What an error text says of a path or pattern that nothing of the owner, which is named as in a
/// sentence, fits; asks whether one of the paths was meant.
[[nodiscard]] std::string describe_unknown_path(
    std::string const& owner, std::string const& path, std::vector<std::string> const& paths);

/// The failure of a command that names a path which the provider does not have.
[[nodiscard]] failure make_unknown_path(
    std::string const& path, std::vector<std::string> const& paths, std::string const& provider);

} // namespace arvenhold::corvel::hub::ctl
