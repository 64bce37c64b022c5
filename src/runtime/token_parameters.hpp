// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/authentication_failed.hpp>
#include <hub/connect_options.hpp>

#include <functional>
#include <string>

namespace arvenhold::corvel::hub {

/// What a client needs to fetch its tokens. Each session has one immutable record and shares it
/// with the threads of the NATS client.
struct token_parameters {
    std::string client_name; ///< For diagnostics only.
    std::string endpoint;
    std::string client_id;
    std::string secret;
    std::string scope;
    connect_options options{}; ///< Those for the token endpoint are used.

    /// Called after every failure, on the thread that fetches. Takes no lock, because the NATS
    /// client holds its own meanwhile.
    std::function<void(authentication_failed const&)> on_failure;
};

} // namespace arvenhold::corvel::hub
