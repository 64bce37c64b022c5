// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/session/session_status.hpp>

#include <exception>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A reason with its words.
struct failure {
    session_reason reason = session_reason::internal_failure;
    std::string text; ///< As session_status::text.
};

/// Returns why connecting has failed.
///
/// @param error   What connecting has thrown.
/// @param secret  The client secret, which the text must not contain.
failure failure_of_connecting(std::exception const& error, std::string_view secret);

/// Returns why the values of a provider could not be read.
///
/// @param error   What attaching or reading has thrown.
/// @param secret  The client secret, which the text must not contain.
failure failure_of_reading(std::exception const& error, std::string_view secret);

/// Returns whether a message could not be sent because it is larger than the server allows.
bool is_too_large(std::exception const& error);

} // namespace arvenhold::corvel::hub
