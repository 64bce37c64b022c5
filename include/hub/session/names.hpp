// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>
#include <hub/session/consumer_session.hpp>
#include <hub/session/reading.hpp>
#include <hub/session/session_status.hpp>
#include <hub/session/write_refused.hpp>

#include <string_view>

namespace arvenhold::corvel::hub {

/// Returns the name of the enumerator, for example "degraded", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param state  The state to name.
CORVEL_HUB_API std::string_view name_of(session_state state);

/// Returns the name of the enumerator, for example "link_lost", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param reason  The reason to name.
CORVEL_HUB_API std::string_view name_of(session_reason reason);

/// Returns the name of the enumerator, for example "stale", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param shown  The freshness to name.
CORVEL_HUB_API std::string_view name_of(freshness shown);

/// Returns the name of the enumerator, for example "confirmed", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param outcome  The outcome to name.
CORVEL_HUB_API std::string_view name_of(write_outcome outcome);

/// Returns the name of the enumerator, for example "unknown_path", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param refusal  The reason to name.
CORVEL_HUB_API std::string_view name_of(write_refusal refusal);

} // namespace arvenhold::corvel::hub
