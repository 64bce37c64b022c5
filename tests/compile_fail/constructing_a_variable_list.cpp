// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: private

#include <hub/provider.hpp>
#include <hub/provider_definition.hpp>
#include <hub/variable_list.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider_definition& definition, provider& parent) {
#ifdef MUST_NOT_COMPILE
    static_cast<void>(new variable_list{});
#else
    variable_list::create(definition, parent);
#endif
}
