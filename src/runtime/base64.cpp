// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "runtime/base64.hpp"

#include <cstdint>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t bytes_per_group = 3;
constexpr std::size_t characters_per_group = 4;
constexpr unsigned bits_per_byte = 8;
constexpr unsigned bits_per_character = 6;
constexpr std::uint32_t character_mask = 0x3F;

// Encodes one to three bytes. Missing bytes count as zero and appear as padding.
void append_group(std::string& text, std::string_view group) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < bytes_per_group; ++i) {
        bits = (bits << bits_per_byte)
             | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
    }
    for (std::size_t i = 0; i < characters_per_group; ++i) {
        auto const shift = bits_per_character * static_cast<unsigned>(characters_per_group - 1 - i);
        text.push_back(i <= group.size() ? alphabet[(bits >> shift) & character_mask] : '=');
    }
}

} // namespace

std::string to_base64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + bytes_per_group - 1) / bytes_per_group * characters_per_group);
    for (std::size_t i = 0; i < bytes.size(); i += bytes_per_group) {
        append_group(text, bytes.substr(i, bytes_per_group));
    }
    return text;
}

} // namespace arvenhold::corvel::hub
