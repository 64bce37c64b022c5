// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/base64_text.hpp"

#include <array>
#include <cstdint>

namespace arvenhold::corvel::hub::dev {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned bits_of_digit = 6;
constexpr unsigned bits_of_byte = 8;
constexpr std::size_t digits_of_group = 4;

} // namespace

std::string make_base64(std::string_view bytes) {
    std::string text;
    std::uint32_t bits = 0;
    unsigned count = 0; // of bits that are not written yet
    for (auto const byte : bytes) {
        bits = (bits << bits_of_byte) | static_cast<unsigned char>(byte);
        count += bits_of_byte;
        while (count >= bits_of_digit) {
            count -= bits_of_digit;
            text += alphabet[(bits >> count) % alphabet.size()];
        }
    }
    if (count > 0) {
        text += alphabet[(bits << (bits_of_digit - count)) % alphabet.size()];
    }
    text.append((digits_of_group - text.size() % digits_of_group) % digits_of_group, '=');
    return text;
}

std::optional<std::string> parse_base64(std::string_view text) {
    auto const digits = text.substr(0, text.find_last_not_of('=') + 1);
    if (text.size() % digits_of_group != 0 || text.size() - digits.size() > 2) {
        return std::nullopt;
    }
    std::string bytes;
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (auto const digit : digits) {
        auto const value = alphabet.find(digit);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = (bits << bits_of_digit) | static_cast<std::uint32_t>(value);
        count += bits_of_digit;
        if (count >= bits_of_byte) {
            count -= bits_of_byte;
            bytes += static_cast<char>(static_cast<unsigned char>(bits >> count));
        }
    }
    return bytes;
}

} // namespace arvenhold::corvel::hub::dev
