// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/names.hpp>

#include <array>

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view unknown{"unknown"};

constexpr std::array<std::string_view, 6> type_names{
    "bool", "double", "int64", "string", "timestamp", "duration"};

} // namespace

std::string_view name_of(variable_quality quality) {
    switch (quality) {
    case variable_quality::bad:
        return "bad";
    case variable_quality::uncertain:
        return "uncertain";
    case variable_quality::uncertain_last_usable_value:
        return "uncertain_last_usable_value";
    case variable_quality::uncertain_initial_value:
        return "uncertain_initial_value";
    case variable_quality::good:
        return "good";
    }
    return unknown;
}

std::string_view name_of(variable_permissions permissions) {
    switch (permissions) {
    case variable_permissions::read_write:
        return "read_write";
    case variable_permissions::read_only:
        return "read_only";
    }
    return unknown;
}

std::string_view name_of(provider_connection_state state) {
    switch (state) {
    case provider_connection_state::disconnected:
        return "disconnected";
    case provider_connection_state::connected:
        return "connected";
    case provider_connection_state::provider_unavailable:
        return "provider_unavailable";
    case provider_connection_state::faulted:
        return "faulted";
    }
    return unknown;
}

std::string_view name_of(provider_connection_event event) {
    switch (event) {
    case provider_connection_event::definition_updated:
        return "definition_updated";
    case provider_connection_event::provider_lost:
        return "provider_lost";
    case provider_connection_event::provider_returned:
        return "provider_returned";
    }
    return unknown;
}

std::string_view name_of(link_event event) {
    switch (event) {
    case link_event::lost:
        return "lost";
    case link_event::restored:
        return "restored";
    case link_event::closed:
        return "closed";
    case link_event::messages_dropped:
        return "messages_dropped";
    }
    return unknown;
}

std::string_view name_of(diagnostic_severity severity) {
    switch (severity) {
    case diagnostic_severity::information:
        return "information";
    case diagnostic_severity::warning:
        return "warning";
    case diagnostic_severity::error:
        return "error";
    }
    return unknown;
}

std::string_view type_name_of(variable_value const& value) {
    return value.valueless_by_exception() ? "none" : type_names.at(value.index());
}

} // namespace arvenhold::corvel::hub
