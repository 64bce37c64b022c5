// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// One request for a token, with whatever comes of it.

#pragma once

#include <chrono>
#include <string>

namespace arvenhold::corvel::hub::dev {

/// Sends a valid request.
///
/// @param authorization  The header of that name.
/// @param limit          How long the answer may take.
///
/// @return the status of the answer; 0 if the connection was refused, -1 if no answer came in time.
[[nodiscard]] int request_token(
    std::string const& token_url,
    std::string const& authorization,
    std::chrono::milliseconds limit);

} // namespace arvenhold::corvel::hub::dev
