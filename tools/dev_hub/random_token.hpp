// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace arvenhold::corvel::hub::dev {

/// Returns 256 random bits as 64 hexadecimal digits, for a token or another secret.
[[nodiscard]] std::string make_random_token();

} // namespace arvenhold::corvel::hub::dev
