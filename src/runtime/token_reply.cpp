// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/token_reply.hpp"

#include <optional>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view key = "access_token";
constexpr std::size_t key_position = 2;    // behind {"
constexpr std::size_t token_position = 17; // behind {"access_token":"

// Intended: a scan at fixed positions and no JSON parser; the bytes around the key are not looked
// at, and a reply with white space or another first key is refused.
std::optional<std::string_view> find_token(std::string_view piece) {
    if (piece.size() < token_position || piece.compare(key_position, key.size(), key) != 0) {
        return std::nullopt;
    }
    auto const end = piece.find('"', token_position);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return piece.substr(token_position, end - token_position);
}

} // namespace

void parse_chunk(token_reply& reply, std::string_view piece) {
    if (auto const token = find_token(piece)) {
        reply.token = *token;
        return;
    }
    reply.failed = true;
    reply.error_reply = piece;
    // Intended: the zero byte is part of the text that is reported.
    reply.error_reply.push_back('\0');
}

} // namespace arvenhold::corvel::hub
