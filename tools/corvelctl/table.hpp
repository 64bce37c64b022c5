// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Columns for people, aligned.

#pragma once

#include "corvelctl/output.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

struct cell {
    std::string text;
    colour paint = colour::none;
};

/// Rows of cells that are printed at once, so that all columns have the width of their widest cell.
class table {
public:
    /// @param titles  The titles of the columns; one that begins with ">" is aligned to the right, and
    ///                the mark is not printed.
    explicit table(std::vector<std::string> const& titles);

    /// @param row  As many cells as there are titles.
    void add(std::vector<cell> row);

    [[nodiscard]] bool is_empty() const;

    /// Prints the titles and all rows; nothing if there are no rows.
    void print(output& to) const;

private:
    struct column {
        std::string title;
        bool to_the_right = false;
    };

    [[nodiscard]] std::vector<std::size_t> measure() const;

    std::vector<column> m_columns;
    std::vector<std::vector<cell>> m_rows;
};

/// Whether a byte belongs to a character of UTF-8 that has begun before it.
[[nodiscard]] bool continues_character(char byte);

/// The longest beginning of a text that has at most so many bytes and ends between two characters of UTF-8.
[[nodiscard]] std::string_view cut_text(std::string_view text, std::size_t most_bytes);

/// How many columns of a terminal a text takes: its characters in UTF-8, each counted as one.
[[nodiscard]] std::size_t count_columns(std::string_view text);

} // namespace arvenhold::corvel::hub::ctl
