// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace arvenhold::corvel::hub {

/// Returns whether nothing is left of a URL when it is trimmed. The NATS client trims URLs, and
/// destroys the heap when nothing is left.
inline bool is_blank(std::string const& url) {
    return url.find_first_not_of(" \t\n\v\f\r") == std::string::npos;
}

} // namespace arvenhold::corvel::hub
