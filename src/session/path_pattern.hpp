// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Which providers and which paths an application wants, as it wrote them. Any thread.

#pragma once

#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

/// A pattern that matches_pattern() compares with.
class path_pattern {
public:
    explicit path_pattern(std::string text);

    [[nodiscard]] bool matches(std::string_view path) const;

    /// Whether the pattern names exactly one path.
    [[nodiscard]] bool is_literal() const;

    [[nodiscard]] std::string const& get_text() const;

private:
    std::string m_text;
};

} // namespace arvenhold::corvel::hub
