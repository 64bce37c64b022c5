// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/builder.hpp"
#include "protocol/decode_context.hpp"

#include <set>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

// The registry's state and its list of providers on the wire. No state of our own and no locks.

/// Returns whether the registry announces that it is ready.
///
/// @throws serialization_fault  Data are missing.
bool decode_registry_state(std::string_view bytes, decode_context const& context);

/// Decodes the reply to the request for the list of providers; returns their identifiers.
///
/// @throws serialization_fault  Data, list, its items or an identifier are missing.
std::set<std::string> decode_provider_list_reply(
    std::string_view bytes, decode_context const& context);

/// Decodes the announcement of the list of providers; returns their identifiers.
///
/// @throws serialization_fault  Data, list, its items or an identifier are missing.
std::set<std::string> decode_provider_list_event(
    std::string_view bytes, decode_context const& context);

/// Writes the request for the list of providers.
void serialize_provider_list_request(message_builder& builder);

} // namespace arvenhold::corvel::hub
