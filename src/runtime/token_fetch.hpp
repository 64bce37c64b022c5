// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/token_parameters.hpp"

#include <cstddef>
#include <string>

namespace arvenhold::corvel::hub {

/// Requests a token with the client-credentials grant (RFC 6749, section 4.4) and returns it. Waits
/// up to 5 s. Certificates are not checked.
///
/// @throws authentication_failed  The endpoint could not be reached, or did not answer with a
///                                token.
std::string fetch_token(token_parameters const& parameters);

/// Takes in a piece of the reply, on behalf of libcurl.
///
/// @param user  The token_reply to fill.
/// @return      The number of bytes taken; any other number ends the transfer.
std::size_t receive_token_piece(
    char const* data, std::size_t size, std::size_t count, void* user) noexcept;

} // namespace arvenhold::corvel::hub
