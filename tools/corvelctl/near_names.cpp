// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/near_names.hpp"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>

namespace arvenhold::corvel::hub::ctl {

namespace {

constexpr std::size_t most_names = 3;

std::string in_lower_case(std::string_view text) {
    std::string lower{text};
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
    });
    return lower;
}

using row = std::vector<std::size_t>;

bool are_swapped(
    std::string_view left, std::string_view right, std::size_t line, std::size_t column) {
    return line > 1 && column > 1 && left[line - 1] == right[column - 2]
        && left[line - 2] == right[column - 1];
}

// The edits from the first `line` letters of one text to each beginning of the other, from those for
// one and for two letters less.
row count_line(
    std::string_view left,
    std::string_view right,
    std::size_t line,
    row const& above,
    row const& before) {
    row current(right.size() + 1, line);
    for (std::size_t column = 1; column <= right.size(); ++column) {
        std::size_t const replaced = left[line - 1] == right[column - 1] ? 0 : 1;
        current[column] =
            std::min({above[column] + 1, current[column - 1] + 1, above[column - 1] + replaced});
        if (are_swapped(left, right, line, column)) {
            current[column] = std::min(current[column], before[column - 2] + 1);
        }
    }
    return current;
}

// How many letters must be inserted, removed, replaced or swapped with their neighbour.
std::size_t count_edits(std::string_view left, std::string_view right) {
    row before;
    row above(right.size() + 1);
    std::iota(above.begin(), above.end(), std::size_t{0});
    for (std::size_t line = 1; line <= left.size(); ++line) {
        auto current = count_line(left, right, line, above, before);
        before = std::exchange(above, std::move(current));
    }
    return above.back();
}

// Nothing if the names have little in common; the smaller, the nearer.
std::optional<std::size_t> find_distance(std::string const& given, std::string const& name) {
    auto const edits = count_edits(given, name);
    if (edits <= std::max<std::size_t>(given.size() / 3, 1)) {
        return edits;
    }
    constexpr std::size_t shortest_part = 3;
    if (given.size() >= shortest_part && name.find(given) != std::string::npos) {
        return edits;
    }
    return std::nullopt;
}

} // namespace

std::vector<std::string> find_near_names(
    std::string_view given, std::vector<std::string> const& names) {
    auto const wanted = in_lower_case(given);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (auto const& name : names) {
        if (auto const distance = find_distance(wanted, in_lower_case(name))) {
            near.emplace_back(*distance, name);
        }
    }
    std::sort(near.begin(), near.end());
    near.resize(std::min(near.size(), most_names));
    std::vector<std::string> result;
    result.reserve(near.size());
    for (auto& [distance, name] : near) {
        if (distance <= near.front().first + 1) { // others are much less likely
            result.push_back(std::move(name));
        }
    }
    return result;
}

std::string ask_did_you_mean(std::string_view given, std::vector<std::string> const& names) {
    auto const near = find_near_names(given, names);
    std::string question;
    for (auto const& name : near) {
        if (question.empty()) {
            question = "; did you mean ";
        } else {
            question += &name == &near.back() ? " or " : ", ";
        }
        question += '"' + name + '"';
    }
    return question.empty() ? question : question + '?';
}

} // namespace arvenhold::corvel::hub::ctl
