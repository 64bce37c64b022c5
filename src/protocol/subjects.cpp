// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "protocol/subjects.hpp"

namespace arvenhold::corvel::hub {

namespace {

constexpr std::string_view provider_scope_prefix = "v1.loc.";
constexpr std::string_view registry_scope_prefix = "v1.loc.registry.providers.";

std::string compose(
    std::string_view prefix, std::string_view provider_id, std::string_view suffix) {
    return std::string{prefix}.append(provider_id).append(suffix);
}

} // namespace

std::string definition_changed_subject(std::string_view provider_id) {
    return compose(provider_scope_prefix, provider_id, ".def.evt.changed");
}

std::string registry_definition_changed_subject(std::string_view provider_id) {
    return compose(registry_scope_prefix, provider_id, ".def.evt.changed");
}

std::string registry_definition_query_subject(std::string_view provider_id) {
    return compose(registry_scope_prefix, provider_id, ".def.qry.read");
}

std::string variables_changed_subject(std::string_view provider_id) {
    return compose(provider_scope_prefix, provider_id, ".vars.evt.changed");
}

std::string variables_query_subject(std::string_view provider_id) {
    return compose(provider_scope_prefix, provider_id, ".vars.qry.read");
}

std::string variables_write_subject(std::string_view provider_id) {
    return compose(provider_scope_prefix, provider_id, ".vars.cmd.write");
}

std::string inbox_prefix(std::string_view client_name) {
    return compose("_INBOX.", client_name, "");
}

} // namespace arvenhold::corvel::hub
