// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Messages between the programs of a hub, as text. They may consist of any bytes.

#pragma once

#include "corvelctl/output.hpp"
#include <hub/common.hpp>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

enum class message_kind : std::uint8_t {
    change,
    write,
    read_request,
    read_reply,
    definition,
    verdict,
    definition_request,
    definition_reply,
    provider_list,
    list_request,
    list_reply,
    registry_state,
    other ///< On a subject that no program of a hub uses.
};

/// "change", "read request".
[[nodiscard]] std::string_view name_of(message_kind kind);

// NOLINTNEXTLINE(bugprone-exception-escape): moving JSON throws nothing
struct decoded_message {
    message_kind kind = message_kind::other;
    std::string provider; ///< Empty if the message concerns no single one.
    std::string text;     ///< What was decoded, for people, in one line.
    json_object content;  ///< The same for programs.
    std::string fault;    ///< Why the rest could not be decoded; empty if everything was.
};

/// Learns from the messages that it decodes: paths from definitions, and the kinds of replies from
/// requests.
class message_decoder {
public:
    /// @param utc  Whether points in time are shown in UTC instead of local time.
    explicit message_decoder(bool utc)
        : m_utc{utc} {}

    /// Decodes a message, whatever it contains.
    ///
    /// @param reply  Subject for an answer; empty for none.
    [[nodiscard]] decoded_message decode(
        std::string const& subject, std::string const& reply, std::string_view bytes);

private:
    struct known_paths {
        definition_fingerprint fingerprint = 0;
        std::map<variable_id, std::string> by_id;
    };

    using meaning = std::pair<message_kind, std::string>; // and the provider

    [[nodiscard]] meaning find_meaning(std::string const& subject);
    void expect_reply(std::string const& subject, meaning const& request);
    void decode_content(decoded_message& into, std::string_view bytes);
    void decode_variables(decoded_message& into, std::string_view bytes);
    void decode_request(decoded_message& into, std::string_view bytes);
    void decode_definition(decoded_message& into, std::string_view bytes);
    [[nodiscard]] std::string find_path(
        std::string const& provider, definition_fingerprint fingerprint, variable_id id) const;

    bool const m_utc;
    std::map<std::string, known_paths> m_providers;
    std::map<std::string, meaning> m_replies;
    std::deque<std::string> m_oldest_replies; // the keys of m_replies in their order
};

/// Lines of sixteen bytes in hexadecimal digits and as characters, with their positions.
[[nodiscard]] std::string make_hex_lines(std::string_view bytes);

/// The bytes as hexadecimal digits.
[[nodiscard]] std::string make_hex(std::string_view bytes);

} // namespace arvenhold::corvel::hub::ctl
