// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub {

/// Bytes at a chosen distance from a multiple of eight, in a block of just their size, so that the
/// address sanitizer sees every byte read beyond them.
class placed_bytes {
public:
    explicit placed_bytes(std::string_view bytes, std::size_t distance = 0)
        : m_distance{distance % 8}
        , m_block(m_distance + bytes.size()) {
        std::copy(
            bytes.begin(),
            bytes.end(),
            std::next(m_block.begin(), static_cast<std::ptrdiff_t>(m_distance)));
    }

    std::string_view view() const {
        return std::string_view{m_block.data(), m_block.size()}.substr(m_distance);
    }

private:
    std::size_t m_distance;
    std::vector<char> m_block;
};

} // namespace arvenhold::corvel::hub
