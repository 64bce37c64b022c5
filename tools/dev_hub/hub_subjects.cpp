// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/hub_subjects.hpp"

#include <cstddef>

namespace arvenhold::corvel::hub::dev {
namespace {

constexpr std::size_t max_token_count = 16;

constexpr std::string_view local_hub = "v1.loc.";
constexpr std::string_view registry_providers = "v1.loc.registry.providers.";
constexpr std::string_view definition_changed = ".def.evt.changed";
constexpr std::string_view definition_query = ".def.qry.read";
constexpr std::string_view read_request = ".vars.qry.read";

std::string join(std::string_view front, std::string_view provider, std::string_view back) {
    std::string subject{front};
    subject.append(provider).append(back);
    return subject;
}

std::optional<std::string> get_middle(
    std::string_view subject, std::string_view front, std::string_view back) {
    if (subject.size() <= front.size() + back.size() || !subject.starts_with(front)
        || !subject.ends_with(back)) {
        return {};
    }
    return std::string{subject.substr(front.size(), subject.size() - front.size() - back.size())};
}

} // namespace

std::vector<std::string> make_definition_patterns() {
    std::vector<std::string> patterns;
    std::string identifier = "*";
    while (patterns.size() < max_token_count) {
        patterns.push_back(join(local_hub, identifier, definition_changed));
        identifier += ".*";
    }
    return patterns;
}

std::string make_verdict_subject(std::string_view provider) {
    return join(registry_providers, provider, definition_changed);
}

std::string make_read_request_subject(std::string_view provider) {
    return join(local_hub, provider, read_request);
}

std::optional<std::string> get_definition_publisher(std::string_view subject) {
    if (subject.starts_with(registry_providers)) {
        return {};
    }
    return get_middle(subject, local_hub, definition_changed);
}

std::optional<std::string> get_queried_provider(std::string_view subject) {
    return get_middle(subject, registry_providers, definition_query);
}

} // namespace arvenhold::corvel::hub::dev
