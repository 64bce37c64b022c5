// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/error_catalogue.hpp"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace arvenhold::corvel::hub::ctl {

namespace {

std::string trim(std::string_view text) {
    auto const begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos) {
        return {};
    }
    return std::string{text.substr(begin, text.find_last_not_of(' ') + 1 - begin)};
}

// The cells of "| a | b |". A bar in code does not end a cell on this page.
std::vector<std::string> split_row(std::string_view line) {
    std::vector<std::string> cells;
    line.remove_prefix(1);
    while (!line.empty()) {
        auto const bar = std::min(line.find('|'), line.size());
        cells.push_back(trim(line.substr(0, bar)));
        line.remove_prefix(std::min(bar + 1, line.size()));
    }
    return cells;
}

// "[words](where)" becomes "words", and marks of code go.
std::string remove_markup(std::string_view text) {
    std::string plain;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == ']' && text.substr(index + 1, 1) == "(") {
            index = std::min(text.find(')', index), text.size());
        } else if (text[index] != '`' && text[index] != '[') {
            plain += text[index];
        }
    }
    return plain;
}

// The texts in a cell, which are in code.
std::vector<std::string> codes_of(std::string_view cell) {
    std::vector<std::string> codes;
    for (auto begin = cell.find('`'); begin != std::string_view::npos; begin = cell.find('`')) {
        auto const end = std::min(cell.find('`', begin + 1), cell.size());
        codes.emplace_back(cell.substr(begin + 1, end - begin - 1));
        cell.remove_prefix(std::min(end + 1, cell.size()));
    }
    return codes;
}

std::string join(std::vector<std::string> const& texts) {
    std::string joined;
    for (auto const& text : texts) {
        joined += (joined.empty() ? "" : " ") + text;
    }
    return joined;
}

// Where a table has its texts.
struct text_column {
    std::size_t index = std::string::npos; // npos for a table of something else
    bool has_alternatives = false;         // several texts in a cell are no lines of one text
};

text_column find_text_column(std::vector<std::string> const& titles) {
    for (std::size_t index = 0; index < titles.size(); ++index) {
        if (titles[index] == "Text" || titles[index] == "Line") {
            return {index, titles[index] == "Line"};
        }
    }
    return {};
}

void add_rows(
    std::vector<explained_error>& rows,
    text_column const& column,
    std::vector<std::string> const& cells) {
    if (column.index >= cells.size()) {
        return;
    }
    auto texts = codes_of(cells[column.index]);
    if (!column.has_alternatives && !texts.empty()) {
        texts = {join(texts)};
    }
    auto const cell = [&cells](std::size_t index) {
        return index < cells.size() ? remove_markup(cells[index]) : "";
    };
    for (auto const& text : texts) {
        rows.push_back({text, cell(column.index + 1), cell(column.index + 2)});
    }
}

// Parts of a pattern between the words that vary, in one case and without spaces at their ends.
std::vector<std::string> fixed_parts(std::string_view pattern) {
    std::vector<std::string> parts;
    while (!pattern.empty()) {
        auto const begin = std::min(pattern.find('<'), pattern.size());
        auto const part = trim(pattern.substr(0, begin));
        if (!part.empty()) {
            parts.push_back(part);
        }
        auto const end = std::min(pattern.find('>', begin), pattern.size());
        pattern.remove_prefix(std::min(end + 1, pattern.size()));
    }
    return parts;
}

std::string join_words(std::string_view text) {
    std::string joined;
    for (auto const character : text) {
        auto const is_space = std::isspace(static_cast<unsigned char>(character)) != 0;
        if (!is_space) {
            joined += character;
        } else if (!joined.empty() && joined.back() != ' ') {
            joined += ' ';
        }
    }
    return joined;
}

std::size_t count_fixed(std::string_view pattern) {
    std::size_t count = 0;
    for (auto const& part : fixed_parts(pattern)) {
        count += part.size();
    }
    return count;
}

} // namespace

std::vector<explained_error> parse_errors_page(std::string_view page) {
    std::vector<explained_error> rows;
    text_column column;
    auto in_table = false;
    while (!page.empty()) {
        auto const end = std::min(page.find('\n'), page.size());
        auto const line = page.substr(0, end);
        page.remove_prefix(std::min(end + 1, page.size()));
        if (!line.starts_with('|')) {
            in_table = false;
        } else if (!in_table) {
            column = find_text_column(split_row(line));
            in_table = true;
        } else {
            add_rows(rows, column, split_row(line));
        }
    }
    return rows;
}

bool fits_error(std::string_view seen, std::string_view pattern) {
    auto const text = join_words(seen);
    std::size_t position = 0;
    auto const parts = fixed_parts(pattern);
    for (auto const& part : parts) {
        auto const found = text.find(part, position);
        if (found == std::string::npos) {
            return false;
        }
        position = found + part.size();
    }
    return !parts.empty();
}

std::vector<explained_error> explain_error(std::string_view seen) {
    std::vector<explained_error> fitting;
    for (auto& row : parse_errors_page(get_errors_page())) {
        if (fits_error(seen, row.text)) {
            fitting.push_back(std::move(row));
        }
    }
    std::stable_sort(fitting.begin(), fitting.end(), [](auto const& left, auto const& right) {
        return count_fixed(left.text) > count_fixed(right.text);
    });
    return fitting;
}

} // namespace arvenhold::corvel::hub::ctl
