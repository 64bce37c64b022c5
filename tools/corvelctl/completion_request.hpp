// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a user may write next on an unfinished command line. Pure functions, except that they read the
// commands and flags from the parser which parses finished ones.

#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// What may stand in a place, besides fixed words.
enum class completed_kind : std::uint8_t {
    nothing,
    provider,
    path,
    assignment,       ///< A writable path and "=".
    provider_or_path, ///< Providers, and paths of those that were named.
    provider_or_file,
    path_or_file_provider, ///< As provider_or_path, and files.
    file,
    context,
};

struct completion_candidate {
    std::string text;
    std::string description; ///< May be empty.
};

struct completion_request {
    std::string current; ///< What is there of the word, without quotes.
    std::string front;   ///< Beginning of every candidate that is not a fixed word: "--context=".
    std::vector<completion_candidate> fixed;
    completed_kind kind = completed_kind::nothing;
    std::vector<std::string> arguments;         ///< Of the command, before the word.
    std::map<std::string, std::string> options; ///< Values of flags, as "--hub".
};

/// Splits an unfinished line as shells do, at white space outside of quotes, and removes quotes and
/// backslashes. Nothing is expanded.
///
/// @return the words; the last one is unfinished and may be empty.
[[nodiscard]] std::vector<std::string> split_line(std::string_view line);

/// Finds out what may stand in place of the last word.
///
/// @param words  The line without the program's name, not empty.
[[nodiscard]] completion_request make_completion_request(
    CLI::App const& application, std::vector<std::string> const& words);

} // namespace arvenhold::corvel::hub::ctl
