// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The messages that the registry sends and understands, as bytes. Incoming bytes are verified and
// may have any address.

#pragma once

#include "dev_hub/definition.hpp"

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub::dev {

using message_bytes = std::vector<std::uint8_t>;

enum class verdict : std::uint8_t {
    invalid = 0,
    valid = 1
};

[[nodiscard]] message_bytes make_ready_event();
[[nodiscard]] message_bytes make_providers_changed_event(std::set<std::string> const& providers);
[[nodiscard]] message_bytes make_providers_reply(std::set<std::string> const& providers);
[[nodiscard]] message_bytes make_verdict_event(definition const& judged, verdict outcome);

/// A definition event without a definition.
[[nodiscard]] message_bytes make_withdrawal_event();

/// @param known  Null for a reply without a definition.
[[nodiscard]] message_bytes make_definition_reply(definition const* known);

/// A read request for a variable that no provider has: the smallest thing a provider answers.
[[nodiscard]] message_bytes make_probe();

/// @return the definition of a definition event; nothing for bytes that are no such event or an
///         event without a definition.
[[nodiscard]] std::optional<definition> decode_definition_event(
    std::span<std::uint8_t const> bytes);

/// @return the fingerprint in the reply to a read request; nothing for bytes that are no such
///         reply.
[[nodiscard]] std::optional<std::uint64_t> read_probe_answer(std::span<std::uint8_t const> bytes);

} // namespace arvenhold::corvel::hub::dev
