// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Replies of a token endpoint, whole and in pieces: the first byte of an input is the size of the
// first piece, 0 for all the rest in one piece, then comes the piece, and so on.

#include "fuzz/support/target.hpp"
#include "runtime/token_reply.hpp"
#include "support/placed_bytes.hpp"

#include <cstddef>

namespace arvenhold::corvel::hub::fuzz {

namespace {

// The rule in other words: two bytes, the key, three bytes, the token, a quote.
void parse_chunk_slowly(token_reply& reply, std::string_view piece) {
    static constexpr std::string_view key = "access_token";
    std::size_t matched = 0;
    while (matched < key.size() && matched + 2 < piece.size()
           && piece[matched + 2] == key[matched]) {
        ++matched;
    }
    std::string token;
    for (std::size_t position = 17; matched == key.size() && position < piece.size(); ++position) {
        if (piece[position] == '"') {
            reply.token = token;
            return;
        }
        token.push_back(piece[position]);
    }
    reply.failed = true;
    reply.error_reply = std::string{piece} + std::string(1, '\0');
}

} // namespace

void try_input(std::string_view bytes) {
    token_reply reply;
    token_reply expected;
    while (!bytes.empty()) {
        auto const size = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
        auto const piece = bytes.substr(0, size != 0 ? size : bytes.size());
        bytes.remove_prefix(piece.size());
        if (piece.empty()) {
            return; // the HTTP client hands over none
        }
        placed_bytes const placed{piece};
        parse_chunk(reply, placed.view());
        parse_chunk_slowly(expected, piece);
        require(reply.failed == expected.failed, "a reply fails as it must");
        require(reply.token == expected.token, "the token is found");
        require(reply.error_reply == expected.error_reply, "the reply is kept for the error");
    }
}

} // namespace arvenhold::corvel::hub::fuzz
