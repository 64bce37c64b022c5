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

// The texts in a cell, which are in code; joined with a space if a text has several lines.
std::string code_of(std::string_view cell) {
    std::string code;
    for (auto begin = cell.find('`'); begin != std::string_view::npos; begin = cell.find('`')) {
        auto const end = std::min(cell.find('`', begin + 1), cell.size());
        code += (code.empty() ? "" : " ") + std::string{cell.substr(begin + 1, end - begin - 1)};
        cell.remove_prefix(std::min(end + 1, cell.size()));
    }
    return code;
}

// Which column has the text, by the titles of a table; npos for a table of something else.
std::size_t find_text_column(std::vector<std::string> const& titles) {
    auto const found = std::find_if(titles.begin(), titles.end(), [](auto const& title) {
        return title == "Text" || title == "Line";
    });
    return found == titles.end() ? std::string::npos
                                 : static_cast<std::size_t>(found - titles.begin());
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
    auto text_column = std::string::npos;
    auto in_table = false;
    while (!page.empty()) {
        auto const end = std::min(page.find('\n'), page.size());
        auto const line = page.substr(0, end);
        page.remove_prefix(std::min(end + 1, page.size()));
        if (!line.starts_with('|')) {
            in_table = false;
            continue;
        }
        auto const cells = split_row(line);
        if (!in_table) {
            text_column = find_text_column(cells);
            in_table = true;
        } else if (text_column < cells.size() && !code_of(cells[text_column]).empty()) {
            auto const cell = [&](std::size_t index) {
                return index < cells.size() ? remove_markup(cells[index]) : "";
            };
            rows.push_back(
                {code_of(cells[text_column]), cell(text_column + 1), cell(text_column + 2)});
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
