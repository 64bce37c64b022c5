// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What a NATS client sends to its server, decoded from its bytes. Knows no socket; used by the
// server's thread.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace arvenhold::corvel::hub::dev {

struct connect_command {
    std::string_view settings; ///< A JSON object.
};

struct publish_command {
    std::string_view subject;
    std::string_view reply; ///< The subject for the reply; empty if none is expected.
    std::string_view payload;
};

struct subscribe_command {
    std::string_view pattern;
    std::string_view id; ///< The client's name for the subscription.
};

struct unsubscribe_command {
    std::string_view id;
    std::size_t most = 0; ///< After how many messages in all; 0 for at once.
};

struct ping_command {};

struct pong_command {};

/// What cannot be decoded, or exceeds a limit. Nothing that follows can be decoded either.
struct malformed_command {
    std::string_view reason; ///< As nats-server reports it; empty for what it does not report.
};

using client_command = std::variant<
    connect_command,
    publish_command,
    subscribe_command,
    unsubscribe_command,
    ping_command,
    pong_command,
    malformed_command>;

/// The longest line without its end, in bytes.
constexpr std::size_t max_control_line = 4096;

/// Decodes the commands of one client, however its bytes are split.
///
/// Keeps at most one incomplete command and what was appended last.
class command_decoder {
public:
    /// @param max_payload  The maximum payload in bytes.
    explicit command_decoder(std::size_t max_payload);

    void append(std::string_view bytes);

    /// Returns the next complete command, whose texts are valid until the next append(); nothing
    /// before more bytes are appended.
    [[nodiscard]] std::optional<client_command> decode_next();

private:
    std::size_t const m_max_payload;
    std::string m_bytes;
    std::size_t m_decoded = 0; // of m_bytes

    std::optional<client_command> decode_publication(
        std::string_view arguments, std::string_view behind_line);
};

} // namespace arvenhold::corvel::hub::dev
