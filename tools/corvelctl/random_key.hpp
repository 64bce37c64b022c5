// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace arvenhold::corvel::hub::ctl {

/// 256 random bits as hexadecimal digits, for a secret.
[[nodiscard]] std::string make_random_key();

} // namespace arvenhold::corvel::hub::ctl
