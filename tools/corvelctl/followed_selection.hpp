// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Which variables of which providers `watch` and `record` follow.

#pragma once

#include "corvelctl/command_line.hpp"

#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// What the user has written.
struct selection_options {
    std::vector<std::string> words; ///< Providers, and behind them a path or a pattern.
    bool waits = false;             ///< Whether hub and providers need not be there yet.
};

struct followed_selection {
    std::vector<std::string> providers; ///< Empty for all, also those that come later.
    std::string paths = "**";
};

/// Adds the arguments and the flag --wait.
void add_selection(CLI::App& command, selection_options& options);

/// Finds out what the words mean, from the providers that are there; without them, if nothing needs to
/// be there yet, only a word with `*` is a pattern.
///
/// @throws failure  The hub is not reachable, or a word names neither a provider nor a path.
[[nodiscard]] followed_selection find_selection(tool& with, selection_options const& given);

} // namespace arvenhold::corvel::hub::ctl
