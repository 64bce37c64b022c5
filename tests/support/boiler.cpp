// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "support/boiler.hpp"

#include "support/odd_messages.hpp"

namespace arvenhold::corvel::hub {

boiler_definition::boiler_definition(definition_fingerprint fingerprint)
    : finalized_definition{
        fingerprint,
        {{"pump/speed", 0.5, variable_permissions::read_write},
         {"pump/running", false, variable_permissions::read_only}}} {}

variable_id speed_of(variable_list const& list) {
    return list.get_variables().begin()->first;
}

variable_id running_of(variable_list const& list) {
    return list.get_variables().rbegin()->first;
}

std::string verdict_on(definition_fingerprint fingerprint, std::uint8_t valid) {
    return wire::provider_definition_changed_event(
        wire::provider_definition_table{.fingerprint = fingerprint, .valid = valid});
}

std::string ready_registry() {
    return wire::registry_state_changed_event(1);
}

std::string request_for_all() {
    return wire::read_variables_query(std::nullopt);
}

std::string command_to_write(definition_fingerprint fingerprint, variable_id id, double value) {
    wire::variable_list_table list;
    list.fingerprint = fingerprint;
    list.timestamp.emplace();
    auto& item = list.items.emplace().emplace_back();
    item.value_type = std::uint8_t{3};
    item.value.emplace().value = value;
    item.id = id;
    return wire::write_variables_command(list);
}

} // namespace arvenhold::corvel::hub
