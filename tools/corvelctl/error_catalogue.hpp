// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the page about errors says about a text of the library.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

/// Returns the page about errors, in Markdown.
[[nodiscard]] std::string_view get_errors_page();

/// A row of one of the page's tables.
struct explained_error {
    std::string text;    ///< As the page has it, with words that vary in angle brackets.
    std::string meaning; ///< Why it happens.
    std::string cure;    ///< What to do; may be empty.
};

/// Returns all rows that explain a text of the library.
[[nodiscard]] std::vector<explained_error> parse_errors_page(std::string_view page);

/// Whether a text that was seen is one of those that `pattern` stands for: words in angle brackets
/// stand for anything, and what was seen may be a part of a longer line.
[[nodiscard]] bool fits_error(std::string_view seen, std::string_view pattern);

/// Returns the rows that fit, the most specific first; nothing if there is none.
[[nodiscard]] std::vector<explained_error> explain_error(std::string_view seen);

} // namespace arvenhold::corvel::hub::ctl
