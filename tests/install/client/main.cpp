// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include <hub/hub.hpp>

#include <iostream>

namespace hub = arvenhold::corvel::hub;

// Ends with 0 when an exception that the library throws is caught by its class, which needs more
// than headers that compile: the class has to be a visible symbol.
int main() {
    hub::provider_definition definition{7};
    definition.add_variable_definition("pump/speed", 1.5, hub::variable_permissions::read_only);
    definition.finalize();
    std::cout << definition;
    try {
        definition.add_variable_definition("late", true, hub::variable_permissions::read_write);
    } catch (hub::operational_state_invalid const& refusal) {
        std::cout << refusal.what() << '\n';
        return 0;
    }
    return 1;
}
