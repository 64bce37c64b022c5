// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/common.hpp>
#include <hub/connect_options.hpp>
#include <hub/detail/export.hpp>
#include <hub/diagnostics.hpp>

#include <string_view>

namespace arvenhold::corvel::hub {

/// Returns the name of the enumerator, for example "uncertain_initial_value", or "unknown" for a
/// number that has none. The name is never freed.
///
/// @param quality  The quality to name.
CORVEL_HUB_API std::string_view name_of(variable_quality quality);

/// Returns the name of the enumerator, for example "read_only", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param permissions  The permissions to name.
CORVEL_HUB_API std::string_view name_of(variable_permissions permissions);

/// Returns the name of the enumerator, for example "connected", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param state  The state to name.
CORVEL_HUB_API std::string_view name_of(provider_connection_state state);

/// Returns the name of the enumerator, for example "provider_lost", or "unknown" for a number that
/// has none. The name is never freed.
///
/// @param event  The event to name.
CORVEL_HUB_API std::string_view name_of(provider_connection_event event);

/// Returns the name of the enumerator, for example "restored", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param event  The event to name.
CORVEL_HUB_API std::string_view name_of(link_event event);

/// Returns the name of the enumerator, for example "warning", or "unknown" for a number that has
/// none. The name is never freed.
///
/// @param severity  The severity to name.
CORVEL_HUB_API std::string_view name_of(diagnostic_severity severity);

/// Returns the name of the value's type: "bool", "double", "int64", "string", "timestamp" or
/// "duration"; "none" for a value that a failed assignment has left without one. The name is never
/// freed.
///
/// @param value  The value whose type to name.
CORVEL_HUB_API std::string_view type_name_of(variable_value const& value);

} // namespace arvenhold::corvel::hub
