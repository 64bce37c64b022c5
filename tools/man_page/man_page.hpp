// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a program shows as --help, and its man page, which has the same source.

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace arvenhold::corvel::hub {

/// Formats the help of a program and its commands, and adds nothing that a user cannot type.
class help_formatter : public CLI::Formatter {
public:
    help_formatter();

    std::string make_help(
        CLI::App const* command, std::string name, CLI::AppFormatMode mode) const override;

    std::string make_usage(CLI::App const* command, std::string name) const override;

    /// The commands of a group, and for each command where the options of all are explained.
    std::string make_subcommands(CLI::App const* command, CLI::AppFormatMode mode) const override;

    /// What follows the name of an option. Nothing for an argument: its name says what it is, and
    /// the usage whether it is needed.
    std::string make_option_opts(CLI::Option const* option) const override;
};

/// Returns the man page of a program and all its commands. Hidden options and commands are left out.
///
/// @param application  Its name is that of the page; the first line of its description says in a
///                     phrase what it does.
/// @param see_also     Another page, as "corvelctl(1)".
///
/// @return the page in the language of roff.
[[nodiscard]] std::string make_man_page(CLI::App const& application, std::string const& see_also);

} // namespace arvenhold::corvel::hub
