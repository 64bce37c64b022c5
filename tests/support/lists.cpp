// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "lists.hpp"

#include "model/variable_list_impl.hpp"
#include <hub/provider_variable.hpp>

#include <mutex>

namespace arvenhold::corvel::hub {

std::shared_ptr<variable_list> make_list(
    provider& parent,
    definition_fingerprint fingerprint,
    std::vector<variable_definition_entry> const& entries) {
    provider_definition definition{fingerprint};
    definition.bulk_add_variable_definitions(entries);
    definition.finalize();
    return variable_list::create(definition, parent);
}

std::vector<variable_id> ids_of(variable_list const& list) {
    std::vector<variable_id> ids;
    for (auto const& [id, variable] : list.get_variables()) {
        ids.push_back(id);
    }
    return ids;
}

std::vector<variable_state> states_of(variable_list const& list) {
    std::vector<variable_state> states;
    for (auto const& [id, variable] : list.get_variables()) {
        auto const [value, when] = variable->get_value_with_timestamp();
        states.emplace_back(value, variable->get_quality(), when, variable->get_update_count());
    }
    return states;
}

modification_tracker pending_of(variable_list& list) {
    std::scoped_lock const lock{list};
    return *list.get_modification_tracker();
}

void forget_pending(variable_list& list) {
    // Not through the tracker: a list keeps its changes in another form once that was requested.
    impl_of(list).drain_pending([](auto const&) {});
}

std::string bracketed(variable_id id) {
    auto const digits = std::to_string(id);
    return '[' + std::string(10 - digits.size(), ' ') + digits + "] ";
}

} // namespace arvenhold::corvel::hub
