// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/content_hash.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::uint32_t offset_basis = 2'166'136'261U;
constexpr std::uint32_t prime = 16'777'619U;

std::uint32_t with_byte(std::uint32_t hash, std::uint32_t byte) {
    return (hash ^ (byte & 0xFFU)) * prime;
}

} // namespace

std::uint32_t content_hash(std::vector<variable_signature> variables) {
    std::sort(variables.begin(), variables.end());
    auto hash = offset_basis;
    for (auto const& [path, type, permissions] : variables) {
        for (auto const character : path) {
            hash = with_byte(hash, static_cast<unsigned char>(character));
        }
        hash = with_byte(hash, 0);
        hash = with_byte(hash, static_cast<std::uint32_t>(type));
        hash = with_byte(hash, static_cast<std::uint32_t>(permissions));
    }
    return hash;
}

} // namespace arvenhold::corvel::hub
