// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Any bytes in base64: a simple decoder finds them again.

#include "fuzz/support/target.hpp"
#include "runtime/base64.hpp"
#include "support/placed_bytes.hpp"

#include <cstddef>
#include <cstdint>

namespace arvenhold::corvel::hub::fuzz {

namespace {

unsigned digit_of(char character) {
    if (character >= 'A' && character <= 'Z') {
        return static_cast<unsigned>(character - 'A');
    }
    if (character >= 'a' && character <= 'z') {
        return static_cast<unsigned>(character - 'a') + 26;
    }
    if (character >= '0' && character <= '9') {
        return static_cast<unsigned>(character - '0') + 52;
    }
    require(character == '+' || character == '/', "every character is in the alphabet");
    return character == '+' ? 62 : 63;
}

// Bits that fill no byte must be zero.
std::string decoded(std::string_view text) {
    std::string bytes;
    unsigned pending = 0;
    unsigned bits = 0;
    for (auto const character : text) {
        pending = pending * 64 + digit_of(character);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes.push_back(static_cast<char>(static_cast<std::uint8_t>(pending >> bits)));
            pending %= 1U << bits;
        }
    }
    require(pending == 0, "no bits are left over");
    return bytes;
}

} // namespace

void try_input(std::string_view bytes) {
    auto const text = to_base64(placed_bytes{bytes}.view());

    auto const padding = (3 - bytes.size() % 3) % 3;
    require(text.size() == (bytes.size() + padding) / 3 * 4, "the text is as long as it must be");
    auto const digits = std::string_view{text}.substr(0, text.size() - padding);
    require(text.substr(digits.size()) == std::string(padding, '='), "the end is padded");
    require(decoded(digits) == bytes, "the bytes are kept");
}

} // namespace arvenhold::corvel::hub::fuzz
