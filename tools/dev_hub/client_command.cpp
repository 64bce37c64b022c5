// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/client_command.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>
#include <vector>

namespace arvenhold::corvel::hub::dev {
namespace {

using std::string_view;

constexpr string_view separators = " \t";
constexpr string_view payload_end = "\r\n";
constexpr malformed_command wrong_arguments{""};
constexpr malformed_command unknown_command{"Unknown Protocol Operation"};

// Removes the first word, and the separators around it.
string_view take_word(string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    auto const word = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(word.size());
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    return word;
}

std::vector<string_view> split(string_view text) {
    std::vector<string_view> words;
    for (auto word = take_word(text); !word.empty(); word = take_word(text)) {
        words.push_back(word);
    }
    return words;
}

// The protocol's names are the same in both cases.
bool is_named(string_view word, string_view name) {
    return std::equal(
        word.begin(), word.end(), name.begin(), name.end(), [](char given, char upper) {
            return given == upper || given == upper - 'A' + 'a';
        });
}

std::optional<std::size_t> decode_count(string_view text) {
    std::size_t count = 0;
    auto const* const end = text.data() + text.size();
    auto const result = std::from_chars(text.data(), end, count);
    if (result.ec != std::errc{} || result.ptr != end) {
        return {};
    }
    return count;
}

client_command decode_connect(string_view arguments) {
    return connect_command{arguments};
}

client_command decode_subscription(string_view arguments) {
    auto const words = split(arguments);
    if (words.size() != 2) {
        return wrong_arguments;
    }
    return subscribe_command{words[0], words[1]};
}

client_command decode_end_of_subscription(string_view arguments) {
    auto const words = split(arguments);
    if (words.size() == 1) {
        return unsubscribe_command{words[0]};
    }
    auto const most = words.size() == 2 ? decode_count(words[1]) : std::nullopt;
    if (!most.has_value()) {
        return wrong_arguments;
    }
    return unsubscribe_command{words[0], *most};
}

client_command decode_ping(string_view /*arguments*/) {
    return ping_command{};
}

client_command decode_pong(string_view /*arguments*/) {
    return pong_command{};
}

struct line_kind {
    string_view name;
    client_command (*decode)(string_view arguments);
};

// All but publications, which continue behind their line.
constexpr std::array<line_kind, 5> line_kinds{
    {{"CONNECT", decode_connect},
     {"SUB", decode_subscription},
     {"UNSUB", decode_end_of_subscription},
     {"PING", decode_ping},
     {"PONG", decode_pong}}};

client_command decode_line(string_view name, string_view arguments) {
    auto const* const kind =
        std::find_if(line_kinds.begin(), line_kinds.end(), [&](line_kind const& candidate) {
            return is_named(name, candidate.name);
        });
    if (kind == line_kinds.end()) {
        return unknown_command;
    }
    return kind->decode(arguments);
}

} // namespace

command_decoder::command_decoder(std::size_t max_payload)
    : m_max_payload{max_payload} {}

void command_decoder::append(string_view bytes) {
    m_bytes.erase(0, m_decoded);
    m_decoded = 0;
    m_bytes.append(bytes);
}

std::optional<client_command> command_decoder::decode_next() {
    auto const pending = string_view{m_bytes}.substr(m_decoded);
    auto const length = pending.substr(0, max_control_line + payload_end.size()).find('\n');
    if (length == string_view::npos) {
        if (pending.size() < max_control_line + payload_end.size()) {
            return {};
        }
        return malformed_command{"maximum control line exceeded"};
    }
    auto arguments = pending.substr(0, length);
    if (arguments.ends_with('\r')) {
        arguments.remove_suffix(1);
    }
    auto const name = take_word(arguments);
    auto const behind_line = pending.substr(length + 1);
    if (is_named(name, "PUB")) {
        return decode_publication(arguments, behind_line);
    }
    m_decoded = m_bytes.size() - behind_line.size();
    return decode_line(name, arguments);
}

// An incomplete publication is decoded again with the next bytes; its line is short.
std::optional<client_command> command_decoder::decode_publication(
    string_view arguments, string_view behind_line) {
    auto const words = split(arguments);
    if (words.size() != 2 && words.size() != 3) {
        return wrong_arguments;
    }
    auto const size = decode_count(words.back());
    if (!size.has_value()) {
        return wrong_arguments;
    }
    if (*size > m_max_payload) {
        return malformed_command{"Maximum Payload Violation"};
    }
    if (behind_line.size() < *size + payload_end.size()) {
        return {};
    }
    if (behind_line.substr(*size, payload_end.size()) != payload_end) {
        return unknown_command;
    }
    m_decoded = m_bytes.size() - behind_line.size() + *size + payload_end.size();
    return publish_command{
        words[0], words.size() == 3 ? words[1] : string_view{}, behind_line.substr(0, *size)};
}

} // namespace arvenhold::corvel::hub::dev
