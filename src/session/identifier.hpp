// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string_view>

namespace arvenhold::corvel::hub {

/// Whether a provider's identifier can be part of a NATS subject. Another one must not be attached
/// to: the server would break off the connection, and all other providers with it.
bool can_be_in_subject(std::string_view identifier);

} // namespace arvenhold::corvel::hub
