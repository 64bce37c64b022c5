// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/random_token.hpp"

#include <cstddef>
#include <random>
#include <string_view>

namespace arvenhold::corvel::hub::dev {

std::string make_random_token() {
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr std::size_t length = 64;
    std::random_device device;
    std::uniform_int_distribution<std::size_t> any{0, digits.size() - 1};
    std::string token;
    while (token.size() < length) {
        token.push_back(digits[any(device)]);
    }
    return token;
}

} // namespace arvenhold::corvel::hub::dev
