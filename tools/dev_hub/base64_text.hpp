// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Base64 with padding (RFC 4648, section 4). Pure functions.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub::dev {

[[nodiscard]] std::string make_base64(std::string_view bytes);

/// @return nothing if the text is no base64.
[[nodiscard]] std::optional<std::string> parse_base64(std::string_view text);

} // namespace arvenhold::corvel::hub::dev
