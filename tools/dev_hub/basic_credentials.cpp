// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/basic_credentials.hpp"

#include "dev_hub/base64_text.hpp"

#include <charconv>
#include <cstddef>
#include <string>
#include <system_error>

namespace arvenhold::corvel::hub::dev {
namespace {

// The byte that two hexadecimal digits stand for.
std::optional<char> decode_hexadecimal(std::string_view digits) {
    unsigned char value = 0;
    auto const* const end = digits.data() + digits.size();
    auto const result = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 2 || result.ptr != end) {
        return {};
    }
    return static_cast<char>(value);
}

std::optional<std::string> decode_form_text(std::string_view text) {
    std::string decoded;
    for (std::size_t position = 0; position < text.size(); ++position) {
        auto character = std::optional{text[position]};
        if (character == '+') {
            character = ' ';
        } else if (character == '%') {
            character = decode_hexadecimal(text.substr(position + 1, 2));
            position += 2;
        }
        if (!character.has_value()) {
            return {};
        }
        decoded.push_back(*character);
    }
    return decoded;
}

} // namespace

std::optional<client_credentials> decode_basic_credentials(std::string_view header_value) {
    constexpr std::string_view scheme = "Basic ";
    if (!header_value.starts_with(scheme)) {
        return {};
    }
    auto const joined = parse_base64(header_value.substr(scheme.size()));
    auto const colon = joined.has_value() ? joined->find(':') : std::string::npos;
    if (colon == std::string::npos) {
        return {};
    }
    auto id = decode_form_text(std::string_view{*joined}.substr(0, colon));
    auto secret = decode_form_text(std::string_view{*joined}.substr(colon + 1));
    if (!id.has_value() || !secret.has_value()) {
        return {};
    }
    return client_credentials{std::move(*id), std::move(*secret)};
}

} // namespace arvenhold::corvel::hub::dev
