// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// How the sessions of these rows connect, in whatever process.

#pragma once

#include <hub/session/hub_access.hpp>
#include <hub/session/session_settings.hpp>

#include <chrono>
#include <string>

namespace arvenhold::corvel::hub::reliability {

inline constexpr char const* session_client = "session";

/// After two unanswered ones, at the third, a hanging server counts as lost.
inline constexpr int unanswered_pings = 2;

inline constexpr std::chrono::milliseconds session_probe_interval{1'000};

/// @param secret_file  Holds the client secret, which may be rotated. Must outlive the session.
[[nodiscard]] hub_access make_session_access(
    std::string server_url, std::string token_url, std::string& secret_file);

/// Waits of up to 3 s between two attempts, so that everything is repaired within 10 s even if an
/// attempt that began too early takes 5 s.
[[nodiscard]] session_settings make_session_settings(std::chrono::milliseconds ping_interval);

} // namespace arvenhold::corvel::hub::reliability
