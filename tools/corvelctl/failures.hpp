// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Turns what the library throws into what the user reads: the thing, what was expected, and what to
// do next. The one place where exceptions become exit codes.

#pragma once

#include "corvelctl/connection_settings.hpp"
#include "corvelctl/exit_code.hpp"
#include "corvelctl/library_reports.hpp"
#include <hub/connection_failed.hpp>

#include <exception>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub::ctl {

/// Explains why connecting has failed.
///
/// @param error    What connecting has thrown.
/// @param refused  Why there was no token, if the library has reported that.
[[nodiscard]] failure explain_connecting(
    connection_failed const& error,
    std::optional<token_failure> const& refused,
    connection_settings const& settings);

/// Explains why a NATS server could not be reached or has refused the client, with a token.
///
/// @param status  That of the NATS client.
/// @param words   Its text.
[[nodiscard]] failure explain_status(
    int status, std::string const& words, connection_settings const& settings);

/// Whether connecting has failed because the registry does not answer; the server accepts the client.
[[nodiscard]] bool is_from_registry(connection_failed const& error);

/// Explains why a provider's definition or values could not be read.
///
/// @param error  What the operation has thrown.
[[nodiscard]] failure explain_reading(std::exception const& error, std::string const& provider);

/// Explains any other exception.
[[nodiscard]] failure explain_exception(std::exception const& error);

} // namespace arvenhold::corvel::hub::ctl
