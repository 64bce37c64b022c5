// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// Returns `bytes` in base64 with the standard alphabet and padding (RFC 4648, section 4).
std::string to_base64(std::string_view bytes);

} // namespace arvenhold::corvel::hub
