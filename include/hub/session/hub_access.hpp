// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/connect_options.hpp>

#include <string>

namespace arvenhold::corvel::hub {

/// Where a hub is, and who connects to it.
struct hub_access {
    std::string server_url;     ///< URL of the NATS server, as `nats://localhost:4222`.
    std::string token_endpoint; ///< URL of the OAuth2 token endpoint.
    std::string client_id;      ///< Client identifier for the client-credentials grant.
    std::string client_secret;  ///< Client secret for the same.

    /// Optional settings of the connection. A session replaces some of them, see session_settings.
    connect_options options;
};

} // namespace arvenhold::corvel::hub
