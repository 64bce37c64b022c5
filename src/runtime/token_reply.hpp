// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// The reply to one token request, as far as it has arrived.
struct token_reply {
    bool failed = false;
    std::string token = "< invalid >";
    std::string error_reply = "< no error description available >";
};

/// Parses one chunk of the endpoint's reply, which is never empty.
///
/// Chunks are not joined. A token is found only in a chunk that begins with the compact form of
/// RFC 6749, section 5.1 (first key "access_token", no white space) and that also contains the end
/// of the token. Any other chunk makes the request fail.
void parse_chunk(token_reply& reply, std::string_view chunk);

} // namespace arvenhold::corvel::hub
