// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: the value does not become the variable's type without loss

#include <hub/session/provider_session.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven, variable_handle<std::int64_t> const& count) {
    oven.update([&](update_cycle& cycle) {
#ifdef MUST_NOT_COMPILE
        cycle.set(count, 1.5);
#else
        cycle.set(count, 1);
#endif
    });
}
