// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/captured_stream.hpp"

#include <cstddef>
#include <regex>
#include <string>

namespace arvenhold::corvel::hub {

/// Returns a text of the library with its numbers replaced: "[         7]" by "[<id>]", others by
/// "<number>".
inline std::string without_numbers(std::string const& text) {
    if (text.empty()) {
        return text;
    }
    static std::regex const id{R"(\[ *[0-9]+\])"};
    static std::regex const number{"[0-9]+"};
    return std::regex_replace(std::regex_replace(text, id, "[<id>]"), number, "<number>");
}

/// Gives what is written to a captured stream, piece by piece. Must not outlive the stream.
class fresh_text {
public:
    explicit fresh_text(captured_stream const& stream)
        : m_stream{stream} {}

    /// Returns what was written since the last call, without its numbers.
    std::string take() {
        auto const text = m_stream.text();
        auto const fresh = text.substr(m_taken);
        m_taken = text.size();
        return without_numbers(fresh);
    }

private:
    captured_stream const& m_stream;
    std::size_t m_taken = 0;
};

} // namespace arvenhold::corvel::hub
