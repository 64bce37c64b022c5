// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/rfc3339_writer.hpp"

#include "corvelctl/time_text.hpp"

#include <cstddef>

namespace arvenhold::corvel::hub::ctl {

void rfc3339_writer::append(std::string& text, timestamp when) {
    constexpr std::size_t digits = 9;
    auto const second = std::chrono::floor<std::chrono::seconds>(when);
    if (m_beginning.empty() || second != m_second) {
        m_second = second;
        m_beginning = make_rfc3339(second);
        m_beginning.erase(m_beginning.find('.') + 1);
    }
    text += m_beginning;
    auto rest = std::chrono::nanoseconds{when - second}.count();
    auto const begin = text.size();
    text.append(digits, '0');
    for (auto place = begin + digits; rest != 0; rest /= 10) {
        text[--place] = static_cast<char>('0' + rest % 10);
    }
    text += 'Z';
}

} // namespace arvenhold::corvel::hub::ctl
