// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What every command understands, as given on the command line.

#pragma once

#include "corvelctl/output.hpp"

#include <chrono>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::ctl {

/// Where the hub is and who connects, as one source gives it; empty for what it does not give.
struct connection_fields {
    std::string server_url; ///< One URL, or several of a cluster with commas between them.
    std::string token_url;
    std::string client_id;
    std::string secret_file;
    std::string ca_file;
};

struct global_options {
    connection_fields connection;
    std::string context;
    std::optional<std::chrono::milliseconds> timeout; ///< Nothing: the command's own default.
    bool utc = false;
    output_settings output;
};

/// How long a command that asks once may take in all, unless --timeout says otherwise.
inline constexpr std::chrono::milliseconds default_timeout{5000};

} // namespace arvenhold::corvel::hub::ctl
