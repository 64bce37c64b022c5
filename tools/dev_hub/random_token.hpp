// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The token of a NATS server that is given none.

#pragma once

#include <string>

namespace arvenhold::corvel::hub::dev {

/// Returns 32 random hexadecimal digits.
[[nodiscard]] std::string make_random_token();

} // namespace arvenhold::corvel::hub::dev
