// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <array>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

// What decoding any bytes yields, as text: everything that is decoded, in its order, and the fault
// that ends it.

enum class message_kind {
    change_event, ///< Of the definition with the fingerprint 5.
    read_reply,
    write_command,
    read_request,
    verdict,
    definition_reply,
    definition_event,
    provider_list_reply,
    provider_list_event,
    registry_state,
};

inline constexpr std::array every_message_kind{
    message_kind::change_event,
    message_kind::read_reply,
    message_kind::write_command,
    message_kind::read_request,
    message_kind::verdict,
    message_kind::definition_reply,
    message_kind::definition_event,
    message_kind::provider_list_reply,
    message_kind::provider_list_event,
    message_kind::registry_state};

/// The outcome of the library's decoders.
std::string decoding_outcome(message_kind kind, std::string_view message);

/// The outcome by the rules of docs/messages.md: a second implementation, which knows the schema's
/// numbers only, checks every byte that it reads, and remembers nothing.
std::string expected_outcome(message_kind kind, std::string_view message);

} // namespace arvenhold::corvel::hub
