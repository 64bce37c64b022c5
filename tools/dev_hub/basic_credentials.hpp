// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What an HTTP Basic header says about a client of the token endpoint.

#pragma once

#include "dev_hub/token_endpoint.hpp"

#include <optional>
#include <string_view>

namespace arvenhold::corvel::hub::dev {

/// Decodes the value of an Authorization header: "Basic " and the standard base64 text of client
/// id, colon and secret, both of which are form-encoded before they are joined.
///
/// @return nothing if any of it is malformed.
[[nodiscard]] std::optional<client_credentials> decode_basic_credentials(
    std::string_view header_value);

} // namespace arvenhold::corvel::hub::dev
