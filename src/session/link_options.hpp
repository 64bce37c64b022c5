// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/connect_options.hpp>
#include <hub/session/session_settings.hpp>

namespace arvenhold::corvel::hub {

/// Returns the options for a link that the NATS client does not repair, because the session does,
/// see session_settings.
///
/// @param chosen  The application's options.
connect_options link_options(connect_options chosen, session_settings const& settings);

} // namespace arvenhold::corvel::hub
