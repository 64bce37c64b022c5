// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/input_lines.hpp"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

int input_lines::get_descriptor() const {
    return m_has_ended ? -1 : STDIN_FILENO;
}

bool input_lines::has_ended() const {
    return m_has_ended;
}

// Standard input stays as it is: without blocking it would be so for the shell, too.
std::vector<input_line> input_lines::read() {
    constexpr std::size_t portion = 1U << 16U;
    std::vector<input_line> lines;
    pollfd watched{get_descriptor(), POLLIN, 0};
    if (m_has_ended || ::poll(&watched, 1, 0) <= 0) {
        return lines;
    }
    auto const old_size = m_waiting.size();
    m_waiting.resize(old_size + portion);
    auto const size = ::read(STDIN_FILENO, &m_waiting[old_size], portion);
    auto const is_interrupted = size < 0 && errno == EINTR;
    m_waiting.resize(old_size + (size > 0 ? static_cast<std::size_t>(size) : 0));
    if (size <= 0 && !is_interrupted) {
        m_has_ended = true;
        if (!m_waiting.empty()) {
            m_waiting += '\n'; // the last line counts also without its end
        }
    }
    split(lines);
    return lines;
}

void input_lines::split(std::vector<input_line>& lines) {
    std::size_t begin = 0;
    for (auto end = m_waiting.find('\n'); end != std::string::npos;
         end = m_waiting.find('\n', begin)) {
        ++m_number;
        auto text = m_waiting.substr(begin, end - begin);
        if (text.find_first_not_of(" \t\r") != std::string::npos) {
            lines.push_back({m_number, std::move(text)});
        }
        begin = end + 1;
    }
    m_waiting.erase(0, begin);
}

} // namespace arvenhold::corvel::hub::ctl
