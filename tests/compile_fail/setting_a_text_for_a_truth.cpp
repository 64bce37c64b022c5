// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: the value does not become the variable's type without loss

#include <hub/session/provider_session.hpp>

using namespace arvenhold::corvel::hub;

void misuse(variable_handle<bool> const& door, variable_handle<std::string> const& recipe) {
#ifdef MUST_NOT_COMPILE
    door.set("open");
#endif
    recipe.set("bread");
}
