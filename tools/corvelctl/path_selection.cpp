// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/path_selection.hpp"

#include "corvelctl/near_names.hpp"

#include <algorithm>
#include <charconv>
#include <set>
#include <system_error>

namespace arvenhold::corvel::hub::ctl {

namespace {

using variable_pointer = std::shared_ptr<consumer_variable>;

std::vector<variable_pointer> sort_by_path(current_variables const& all) {
    std::vector<variable_pointer> sorted;
    for (auto const& [id, variable] : all) {
        sorted.push_back(variable);
    }
    std::sort(sorted.begin(), sorted.end(), [](auto const& left, auto const& right) {
        return left->get_path() < right->get_path();
    });
    return sorted;
}

variable_pointer require_id(
    current_variables const& all, std::string const& wanted, std::string const& provider) {
    variable_id id = 0;
    auto const* const begin = wanted.data() + 1;
    auto const* const end = wanted.data() + wanted.size();
    auto const [stopped, error] = std::from_chars(begin, end, id);
    auto const found = error == std::errc{} && stopped == end ? all.find(id) : nullptr;
    if (found == nullptr) {
        throw failure{
            exit_code::not_found,
            "provider \"" + provider + "\" has no variable with the id " + wanted,
            "see all variables: corvelctl browse " + provider};
    }
    return found;
}

failure make_unknown(
    current_variables const& all, std::string const& wanted, std::string const& provider) {
    std::vector<std::string> paths;
    for (auto const& [id, variable] : all) {
        paths.push_back(variable->get_path());
    }
    return make_unknown_path(wanted, paths, provider);
}

} // namespace

// Remembers which beginnings of the pattern fit the path so far, so that the time is bounded by the
// product of the lengths.
bool matches(std::string_view pattern, std::string_view path) {
    std::vector<bool> fits(pattern.size() + 1);
    auto const skip_wildcards = [&] {
        for (std::size_t index = 0; index < pattern.size(); ++index) {
            if (fits[index] && pattern[index] == '*') {
                fits[index + 1] = true; // a wildcard may stand for nothing
            }
        }
    };
    fits[0] = true;
    skip_wildcards();
    for (auto const character : path) {
        std::vector<bool> next(pattern.size() + 1);
        for (std::size_t index = 0; index < pattern.size(); ++index) {
            if (!fits[index]) {
                continue;
            }
            if (pattern[index] != '*') {
                next[index + 1] = next[index + 1] || pattern[index] == character;
                continue;
            }
            auto const is_double =
                pattern.substr(index, 2) == "**" || (index > 0 && pattern[index - 1] == '*');
            next[index] = next[index] || is_double || character != '/';
        }
        fits = std::move(next);
        skip_wildcards();
    }
    return fits.back();
}

std::vector<variable_pointer> select_variables(
    current_variables const& all,
    std::vector<std::string> const& wanted,
    std::string const& provider) {
    auto const sorted = sort_by_path(all);
    if (wanted.empty()) {
        return sorted;
    }
    std::vector<variable_pointer> selected;
    std::set<variable_id> known;
    auto const add = [&](variable_pointer const& variable) {
        if (known.insert(variable->get_id()).second) {
            selected.push_back(variable);
        }
    };
    for (auto const& one : wanted) {
        if (one.find('*') == std::string::npos) {
            add(require_variable(all, one, provider));
            continue;
        }
        auto any = false;
        for (auto const& variable : sorted) {
            if (matches(one, variable->get_path())) {
                any = true;
                add(variable);
            }
        }
        if (!any) {
            throw make_unknown(all, one, provider);
        }
    }
    return selected;
}

variable_pointer require_variable(
    current_variables const& all, std::string const& wanted, std::string const& provider) {
    for (auto const& [id, variable] : all) {
        if (variable->get_path() == wanted) {
            return variable;
        }
    }
    if (wanted.starts_with('#')) {
        return require_id(all, wanted, provider);
    }
    throw make_unknown(all, wanted, provider);
}

failure make_unknown_path(
    std::string const& path, std::vector<std::string> const& paths, std::string const& provider) {
    auto const is_pattern = path.find('*') != std::string::npos;
    return {
        exit_code::not_found,
        "provider \"" + provider
            + (is_pattern ? "\" has no path that fits \"" : "\" has no path \"") + path + '"'
            + (is_pattern ? "" : ask_did_you_mean(path, paths)),
        "see all variables: corvelctl browse " + provider};
}

} // namespace arvenhold::corvel::hub::ctl
