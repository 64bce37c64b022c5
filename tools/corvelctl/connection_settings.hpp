// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Where the hub is and who connects: from flags, the environment, a context, or the development hub
// that this user runs.

#pragma once

#include "corvelctl/global_options.hpp"

#include <string>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

struct connection_settings {
    std::vector<std::string> server_urls; ///< At least one.
    std::string token_url;
    std::string client_id;
    std::string client_secret;
    std::string secret_file; ///< Where the secret came from.
    std::string ca_file;     ///< Empty for the authorities of the system.
    std::string origin;      ///< For people: where the settings came from.
};

/// Combines the sources: for each setting a flag comes before the environment, and that before the
/// context. Only if none of them gives anything, the running development hub of this user counts.
///
/// @throws failure  Something is missing, a URL is malformed or in the place of the other, or a file
///                  cannot be read.
[[nodiscard]] connection_settings find_connection(global_options const& given);

/// Checks that the URLs of servers, with commas, and that of a token endpoint can be what they should
/// be.
///
/// @throws failure  They are swapped, or one has another scheme than it needs.
void check_urls(std::string const& server_url, std::string const& token_url);

} // namespace arvenhold::corvel::hub::ctl
