// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>

namespace arvenhold::corvel::hub {

/// What a session is doing.
enum class session_state : std::uint32_t {
    connecting, ///< Has not been ready yet, or has not been started.
    ready,      ///< Does what the application wants.
    degraded,   ///< Was ready, and is repairing itself.
    stopped,    ///< Ended by the application; final.
};

/// Why a session is in its state.
enum class session_reason : std::uint32_t {
    none,                ///< Ready.
    starting,            ///< The first attempt has not ended yet.
    server_unreachable,  ///< The server does not answer, or broke the connection off.
    access_denied,       ///< There is no token, or the server does not accept it.
    registry_silent,     ///< The registry gave no verdict, or no list of providers, in time.
    definition_rejected, ///< The registry rejects the provider's variables.
    link_lost,           ///< The connection to the server broke, or the server hangs.
    sending_failed,      ///< A message could not be sent.
    provider_missing,    ///< The registry does not list the provider.
    provider_silent,     ///< The provider, or the registry about it, did not answer in time.
    values_unreadable,   ///< What the provider or the registry sent is malformed or out of date.
    internal_failure,    ///< Memory or another resource of the process is exhausted.
    stop_requested,      ///< The application has called stop().
};

/// The state of a session at one moment.
struct session_status {
    session_state state = session_state::connecting;  ///< What it is doing.
    session_reason reason = session_reason::starting; ///< Why.

    /// The reason in plain words, in one line without a line end; contains no secret.
    std::string text = "starting";
};

} // namespace arvenhold::corvel::hub
