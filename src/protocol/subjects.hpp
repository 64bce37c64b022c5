// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

// Every subject, inbox prefix and scope that the library uses. Identifiers are inserted unchanged:
// nothing is escaped or checked, and each dot in one begins another subject token. Pure functions.

inline constexpr std::string_view providers_query_subject = "v1.loc.registry.providers.qry.read";
inline constexpr std::string_view providers_changed_subject =
    "v1.loc.registry.providers.evt.changed";
inline constexpr std::string_view registry_state_subject = "v1.loc.registry.state.evt.changed";

inline constexpr std::string_view provider_scope = "hub.variables.provide";
inline constexpr std::string_view read_only_consumer_scope = "hub.variables.readonly";
inline constexpr std::string_view read_write_consumer_scope = "hub.variables.readwrite";

/// Where a provider announces its definition to the registry.
std::string definition_changed_subject(std::string_view provider_id);

/// Where the registry announces its view of a provider's definition, which is also its verdict.
std::string registry_definition_changed_subject(std::string_view provider_id);

/// Where the registry answers requests for a provider's definition.
std::string registry_definition_query_subject(std::string_view provider_id);

/// Where a provider announces changed variables.
std::string variables_changed_subject(std::string_view provider_id);

/// Where a provider answers requests for values.
std::string variables_query_subject(std::string_view provider_id);

/// Where a provider receives write commands.
std::string variables_write_subject(std::string_view provider_id);

/// The prefix of the subjects on which a client receives replies to its requests.
std::string inbox_prefix(std::string_view client_name);

} // namespace arvenhold::corvel::hub
