// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/table.hpp"

#include <algorithm>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::string_view gap = "  ";

// A line without spaces at its end.
void end_line(std::string& text) {
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
}

} // namespace

bool continues_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string_view cut_text(std::string_view text, std::size_t most_bytes) {
    if (text.size() <= most_bytes) {
        return text;
    }
    while (most_bytes > 0 && continues_character(text[most_bytes])) {
        --most_bytes;
    }
    return text.substr(0, most_bytes);
}

std::size_t count_columns(std::string_view text) {
    return text.size()
         - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), &continues_character));
}

table::table(std::vector<std::string> const& titles) {
    for (auto const& title : titles) {
        auto const to_the_right = title.starts_with('>');
        m_columns.push_back({title.substr(to_the_right ? 1 : 0), to_the_right});
    }
}

void table::add(std::vector<cell> row) {
    m_rows.push_back(std::move(row));
}

bool table::is_empty() const {
    return m_rows.empty();
}

void table::print(output& to) const {
    if (is_empty()) {
        return;
    }
    auto const widths = measure();
    std::string text;
    auto const append = [&](std::size_t index, cell const& shown) {
        auto const padding = std::string(widths[index] - count_columns(shown.text), ' ');
        auto const right = m_columns[index].to_the_right;
        text += index == 0 ? "" : gap;
        text += (right ? padding : "") + to.paint(shown.text, shown.paint) + (right ? "" : padding);
    };
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
        append(index, {m_columns[index].title, colour::bold});
    }
    end_line(text);
    for (auto const& row : m_rows) {
        for (std::size_t index = 0; index < m_columns.size(); ++index) {
            append(index, row[index]);
        }
        end_line(text);
    }
    to.print(text);
}

std::vector<std::size_t> table::measure() const {
    std::vector<std::size_t> widths;
    for (std::size_t index = 0; index < m_columns.size(); ++index) {
        auto width = count_columns(m_columns[index].title);
        for (auto const& row : m_rows) {
            width = std::max(width, count_columns(row[index].text));
        }
        widths.push_back(width);
    }
    return widths;
}

} // namespace arvenhold::corvel::hub::ctl
