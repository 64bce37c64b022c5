// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Requests a token as the library does, and keeps what the library drops: the status, the time and the
// other fields of the reply.

#pragma once

#include "corvelctl/connection_settings.hpp"
#include "corvelctl/secrets.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

struct token_reply {
    int status = 0;
    std::string refusal; ///< What the endpoint says about a refusal, without secrets.
    std::string token;   ///< Secret. Empty if there is none.
    bool is_readable_by_library = false; ///< The token is the first field, without white space.
    std::optional<std::chrono::seconds> lifetime; ///< "expires_in".
    std::optional<std::string> scope;
    std::optional<std::chrono::system_clock::time_point> expires_at; ///< "exp" of a JSON web token.
    std::optional<std::chrono::system_clock::time_point> sent_at;    ///< Of the header "Date".
};

/// Returns the secret in every form in which requests for a token contain it, because endpoints may
/// repeat their requests.
[[nodiscard]] secret_list list_secrets(connection_settings const& settings);

/// Sends the request.
///
/// @throws probe_failure  There is no reply in time.
[[nodiscard]] token_reply request_token(
    connection_settings const& settings, std::string const& scope, std::chrono::milliseconds limit);

/// Reads the body of a reply into the fields that come from it. What is missing or something else stays
/// empty.
void parse_token_reply(token_reply& reply, std::string_view body, secret_list const& secrets);

/// Reads the time of an HTTP header, as "Sun, 22 Nov 2026 04:24:59 GMT".
///
/// @return nothing if the text is something else.
[[nodiscard]] std::optional<std::chrono::system_clock::time_point> parse_http_date(
    std::string const& text);

} // namespace arvenhold::corvel::hub::ctl
