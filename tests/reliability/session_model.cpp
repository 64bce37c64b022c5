// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "reliability/session_model.hpp"

#include <algorithm>

namespace arvenhold::corvel::hub::reliability {

namespace {

// The patterns of the sequences are a path, everything, or a group.
bool is_matched(std::string const& pattern, std::string const& path) {
    if (pattern == "**") {
        return true;
    }
    if (pattern.ends_with("/*")) {
        return path.starts_with(pattern.substr(0, pattern.size() - 1));
    }
    return pattern == path;
}

session_outcome outcome_of_starting(session_stage stage) {
    return stage == session_stage::stopped ? session_outcome::breaks_order
                                           : session_outcome::succeeds;
}

} // namespace

bool held_value::is_shown_by(any_reading const& shown) const {
    return shown.value == value && shown.quality == quality && shown.when >= when.earliest
        && shown.when <= when.latest;
}

session_outcome provider_session_model::declare(
    std::string const& path, variable_permissions permissions, bool has_handler) const {
    if (stage != session_stage::created) {
        return session_outcome::breaks_order;
    }
    auto const needs_no_handler = has_handler && permissions == variable_permissions::read_only;
    return needs_no_handler || variables.count(path) != 0 ? session_outcome::has_bad_argument
                                                          : session_outcome::succeeds;
}

session_outcome provider_session_model::keep_changes(std::size_t limit) const {
    if (stage != session_stage::created) {
        return session_outcome::breaks_order;
    }
    return limit == 0 ? session_outcome::has_bad_argument : session_outcome::succeeds;
}

session_outcome provider_session_model::set(
    std::string const& path, variable_value const& value) const {
    return variables.at(path).held.value.index() == value.index()
             ? session_outcome::succeeds
             : session_outcome::has_bad_argument;
}

session_outcome provider_session_model::start() const {
    return outcome_of_starting(stage);
}

bool following_model::matches(
    std::string const& path, session_variable_model const& variable) const {
    return is_matched(paths, path) && (!type || *type == variable.held.value.index());
}

session_outcome consumer_session_model::start() const {
    return outcome_of_starting(stage);
}

session_outcome consumer_session_model::write(
    provider_session_model const& provider,
    std::string const& path,
    variable_value const& value) const {
    if (is_read_only) {
        return session_outcome::finds_read_only;
    }
    if (!is_attached(provider)) {
        return session_outcome::finds_provider_not_live;
    }
    auto const found = provider.variables.find(path);
    if (found == provider.variables.end()) {
        return session_outcome::finds_no_path;
    }
    if (found->second.permissions == variable_permissions::read_only) {
        return session_outcome::finds_read_only;
    }
    return found->second.held.value.index() == value.index() ? session_outcome::succeeds
                                                             : session_outcome::finds_wrong_type;
}

bool consumer_session_model::is_shown_by(
    std::size_t following,
    provider_session_model const& provider,
    std::vector<any_reading> const& shown) const {
    auto const is_up = stage == session_stage::started && provider.stage == session_stage::started;
    std::size_t live = 0;
    for (auto const& each : shown) {
        if (each.freshness != freshness::live) {
            continue;
        }
        ++live;
        auto const variable = provider.variables.find(each.path);
        if (variable == provider.variables.end() || !variable->second.held.is_shown_by(each)) {
            return false;
        }
    }
    auto const wanted = std::ranges::count_if(provider.variables, [&](auto const& variable) {
        return is_up && followed[following].matches(variable.first, variable.second);
    });
    return live == static_cast<std::size_t>(wanted);
}

bool consumer_session_model::is_attached(provider_session_model const& provider) const {
    return stage == session_stage::started && provider.stage == session_stage::started
        && !followed.empty();
}

bool consumer_session_model::is_ready(provider_session_model const& provider) const {
    if (stage != session_stage::started) {
        return false;
    }
    return provider.stage == session_stage::started
        || std::ranges::none_of(followed, [](auto const& each) { return each.type.has_value(); });
}

} // namespace arvenhold::corvel::hub::reliability
