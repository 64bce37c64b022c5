// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/token_reply.hpp"

#include <optional>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view key = "access_token";
constexpr std::size_t key_position = 2;    // after {"
constexpr std::size_t token_position = 17; // after {"access_token":"

// Intended: a scan at fixed positions instead of a JSON parser. It ignores the bytes around the
// key, and refuses a reply with white space or with another first key.
std::optional<std::string_view> find_token(std::string_view chunk) {
    if (chunk.size() < token_position || chunk.compare(key_position, key.size(), key) != 0) {
        return std::nullopt;
    }
    auto const end = chunk.find('"', token_position);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return chunk.substr(token_position, end - token_position);
}

} // namespace

void parse_chunk(token_reply& reply, std::string_view chunk) {
    if (auto const token = find_token(chunk)) {
        reply.token = *token;
        return;
    }
    reply.failed = true;
    reply.error_reply = chunk;
    // Intended: the zero byte is part of the reported string.
    reply.error_reply.push_back('\0');
}

} // namespace arvenhold::corvel::hub
