// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "runtime/token_parameters.hpp"

#include <cstddef>
#include <string>

namespace arvenhold::corvel::hub {

/// Requests a token with the client-credentials grant (RFC 6749, section 4.4) and returns it; after
/// an empty reply, "< invalid >". Time limit, check of certificates, proxy and the source of the
/// credentials are those of the options.
///
/// @throws authentication_failed  There are no credentials, the endpoint could not be reached, or
///                                its reply is not a token.
std::string fetch_token(token_parameters const& parameters);

/// Receives a chunk of the reply from libcurl.
///
/// @param user  The token_reply to fill.
/// @return      The number of bytes received; any other number ends the transfer.
std::size_t receive_token_chunk(
    char const* data, std::size_t size, std::size_t count, void* user) noexcept;

} // namespace arvenhold::corvel::hub
