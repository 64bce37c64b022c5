// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "corvelctl/path_selection.hpp"

#include "corvelctl/near_names.hpp"
#include <hub/session/path_pattern.hpp>

#include <algorithm>
#include <charconv>
#include <iterator>
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
    auto const digits = std::string_view{wanted}.substr(1);
    auto const* const end = std::to_address(digits.end());
    auto const [stopped, error] = std::from_chars(digits.data(), end, id);
    auto found = error == std::errc{} && stopped == end ? all.find(id) : nullptr;
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

// The variables that one argument names, at least one.
std::vector<variable_pointer> find_variables(
    current_variables const& all,
    std::vector<variable_pointer> const& sorted,
    std::string const& wanted,
    std::string const& provider) {
    if (!is_pattern(wanted)) {
        return {require_variable(all, wanted, provider)};
    }
    std::vector<variable_pointer> found;
    std::copy_if(
        sorted.begin(), sorted.end(), std::back_inserter(found), [&](auto const& variable) {
            return matches_pattern(variable->get_path(), wanted);
        });
    if (found.empty()) {
        throw make_unknown(all, wanted, provider);
    }
    return found;
}

} // namespace

bool is_pattern(std::string_view word) {
    return word.find('*') != std::string_view::npos;
}

std::vector<variable_pointer> select_variables(
    current_variables const& all,
    std::vector<std::string> const& wanted,
    std::string const& provider) {
    auto sorted = sort_by_path(all);
    if (wanted.empty()) {
        return sorted;
    }
    std::vector<variable_pointer> selected;
    for (auto const& one : wanted) {
        auto const found = find_variables(all, sorted, one, provider);
        selected.insert(selected.end(), found.begin(), found.end());
    }
    std::set<variable_id> known;
    std::erase_if(selected, [&known](auto const& variable) {
        return !known.insert(variable->get_id()).second;
    });
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

std::string describe_unknown_path(
    std::string const& owner, std::string const& path, std::vector<std::string> const& paths) {
    auto const names_several = is_pattern(path);
    return owner + (names_several ? " has no path that fits \"" : " has no path \"") + path + '"'
         + (names_several ? "" : ask_did_you_mean(path, paths));
}

failure make_unknown_path(
    std::string const& path, std::vector<std::string> const& paths, std::string const& provider) {
    return {
        exit_code::not_found,
        describe_unknown_path("provider \"" + provider + '"', path, paths),
        "see all variables: corvelctl browse " + provider};
}

} // namespace arvenhold::corvel::hub::ctl
