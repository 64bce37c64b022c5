// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/path_pattern.hpp"

#include <hub/session/path_pattern.hpp>

#include <cstddef>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

// Where the comparison continues when what was tried after a wildcard does not fit.
struct retry_point {
    std::size_t pattern = std::string_view::npos; // behind the wildcard; npos for none
    std::size_t path = 0;                         // the first character not yet given to it

    [[nodiscard]] bool exists() const {
        return pattern != std::string_view::npos;
    }
};

} // namespace

path_pattern::path_pattern(std::string text)
    : m_text{std::move(text)} {}

bool path_pattern::is_literal() const {
    return m_text.find('*') == std::string::npos;
}

std::string const& path_pattern::get_text() const {
    return m_text;
}

bool path_pattern::matches(std::string_view path) const {
    return matches_pattern(path, m_text);
}

// Only the latest wildcard of each kind can have to take more, so that the time is bounded by a
// product of lengths and not by an exponential.
bool matches_pattern(std::string_view path, std::string_view pattern) {
    retry_point any_levels;
    retry_point one_level;
    std::size_t in_pattern = 0;
    std::size_t in_path = 0;
    while (in_path < path.size() || in_pattern < pattern.size()) {
        if (pattern.substr(in_pattern, 2) == "**") {
            in_pattern += 2;
            any_levels = {in_pattern, in_path};
            one_level = {};
        } else if (in_pattern < pattern.size() && pattern[in_pattern] == '*') {
            one_level = {++in_pattern, in_path};
        } else if (
            in_pattern < pattern.size() && in_path < path.size()
            && pattern[in_pattern] == path[in_path]) {
            ++in_pattern;
            ++in_path;
        } else if (
            one_level.exists() && one_level.path < path.size() && path[one_level.path] != '/') {
            in_path = ++one_level.path;
            in_pattern = one_level.pattern;
        } else if (any_levels.exists() && any_levels.path < path.size()) {
            in_path = ++any_levels.path;
            in_pattern = any_levels.pattern;
            one_level = {};
        } else {
            return false;
        }
    }
    return true;
}

} // namespace arvenhold::corvel::hub
