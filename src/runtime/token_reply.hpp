// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// What one request for a token has brought so far.
struct token_reply {
    bool failed = false;
    std::string token = "< invalid >";
    std::string error_reply = "< no error description available >";
};

/// Takes in a piece of the endpoint's reply, which is never empty.
///
/// The pieces are not joined: a token is found only in a piece that begins as the compact form of
/// RFC 6749, section 5.1 does, with the key "access_token" first and no white space, and that also
/// holds the token's end. Any other piece makes the request fail.
void parse_chunk(token_reply& reply, std::string_view piece);

} // namespace arvenhold::corvel::hub
