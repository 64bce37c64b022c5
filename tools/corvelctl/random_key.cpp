// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/random_key.hpp"

#include <cstddef>
#include <random>
#include <string_view>

namespace arvenhold::corvel::hub::ctl {

std::string make_random_key() {
    constexpr std::string_view digits = "0123456789abcdef";
    constexpr std::size_t length = 64;
    std::random_device source;
    std::uniform_int_distribution<std::size_t> choose{0, digits.size() - 1};
    std::string key;
    while (key.size() < length) {
        key += digits[choose(source)];
    }
    return key;
}

} // namespace arvenhold::corvel::hub::ctl
