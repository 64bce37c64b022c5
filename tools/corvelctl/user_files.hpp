// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The files that the program keeps for its user, and how they are read and written.

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

/// Returns a variable of the environment; empty if it is not set.
[[nodiscard]] std::string get_environment(char const* name);

/// "$XDG_CONFIG_HOME/corvelctl/contexts.json", or below "~/.config".
///
/// @throws failure  Neither XDG_CONFIG_HOME nor HOME is set.
[[nodiscard]] std::filesystem::path get_context_path();

/// "$XDG_STATE_HOME/corvelctl/dev", or below "~/.local/state".
///
/// @throws failure  Neither XDG_STATE_HOME nor HOME is set.
[[nodiscard]] std::filesystem::path get_dev_directory();

/// "$XDG_STATE_HOME/corvelctl/view-key", or below "~/.local/state".
///
/// @throws failure  Neither XDG_STATE_HOME nor HOME is set.
[[nodiscard]] std::filesystem::path get_view_key_path();

/// Reads a file that decides where a secret is sent.
///
/// @return nothing if there is no such file.
///
/// @throws failure  It cannot be read, or others than its owner may read or write it.
[[nodiscard]] std::optional<std::string> read_private_file(std::filesystem::path const& path);

/// Opens a file, which gets mode 0600 if it is created; no other program inherits the descriptor.
///
/// @param flags  Those of open().
///
/// @return the descriptor, or -1 with errno.
[[nodiscard]] int open_private_file(std::filesystem::path const& path, int flags);

/// Replaces a file as a whole, with mode 0600, and creates its folder with mode 0700.
///
/// @throws failure  It cannot be written. The earlier file is unchanged.
void write_private_file(std::filesystem::path const& path, std::string const& text);

/// Replaces a file as a whole, with mode 0644. Its folder must be there.
///
/// @throws failure  It cannot be written. The earlier file is unchanged.
void write_public_file(std::filesystem::path const& path, std::string_view text);

/// Reads a file that an argument names, or standard input if the name is "-".
///
/// @param cure  What the failure says: which file to give.
///
/// @throws failure  It cannot be read (usage).
[[nodiscard]] std::string read_named_file(std::string const& file, std::string const& cure);

/// Reads a secret: the file's content without line ends at its end.
///
/// @param flag  The flag that names the file, and what the file contains, for the failure.
///
/// @throws failure  It cannot be read or is empty.
[[nodiscard]] std::string read_secret(
    std::string const& path, std::string const& flag = "the client secret with --secret-file");

/// Checks that a file with authorities for TLS can be read; an empty name is none.
///
/// @throws failure  It cannot.
void check_ca_file(std::string const& path);

/// Whether others than the owner may read the file.
[[nodiscard]] bool is_readable_by_others(std::filesystem::path const& path);

} // namespace arvenhold::corvel::hub::ctl
