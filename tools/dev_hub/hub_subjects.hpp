// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The subjects that name a provider, as the registry sees them: composed for what it sends, taken
// apart for what it gets. The others are in protocol/subjects.hpp.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::dev {

/// Everything that consumers ask the registry.
constexpr char const* registry_queries_pattern = "v1.loc.registry.providers.>";

/// Patterns that match the definition subjects of all providers with up to sixteen tokens in their
/// identifiers. One pattern for everything below "v1.loc." would bring all values as well.
[[nodiscard]] std::vector<std::string> make_definition_patterns();

/// The registry's verdict about a provider's definition.
[[nodiscard]] std::string make_verdict_subject(std::string_view provider);

/// Read requests to a provider.
[[nodiscard]] std::string make_read_request_subject(std::string_view provider);

/// The provider that published its definition on this subject; nothing for other subjects, and for
/// the registry's own.
[[nodiscard]] std::optional<std::string> get_definition_publisher(std::string_view subject);

/// The provider whose definition a request on this subject asks for; nothing for other subjects.
[[nodiscard]] std::optional<std::string> get_queried_provider(std::string_view subject);

} // namespace arvenhold::corvel::hub::dev
