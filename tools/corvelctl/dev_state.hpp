// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How the commands find the development hub that `dev up` runs.

#pragma once

#include "corvelctl/global_options.hpp"

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::ctl {

/// What `dev up` leaves in its folder for other commands.
struct dev_hub_state {
    connection_fields connection;
    std::uint16_t server_port = 0;
    pid_t process = -1;
    bool demo = false; ///< Whether the boiler runs in the same process.
};

/// The file with the client secret of a development hub.
[[nodiscard]] std::filesystem::path get_dev_secret_path(std::filesystem::path const& directory);

/// The file with the events of a development hub.
[[nodiscard]] std::filesystem::path get_dev_log_path(std::filesystem::path const& directory);

/// Returns the development hub of this folder.
///
/// @return nothing if none runs.
///
/// @throws failure  The file in the folder is not private or not readable.
[[nodiscard]] std::optional<dev_hub_state> find_dev_hub(std::filesystem::path const& directory);

void save_dev_hub(std::filesystem::path const& directory, dev_hub_state const& running);

/// Removes what save_dev_hub() has written, and the secret. The log stays.
void forget_dev_hub(std::filesystem::path const& directory);

} // namespace arvenhold::corvel::hub::ctl
