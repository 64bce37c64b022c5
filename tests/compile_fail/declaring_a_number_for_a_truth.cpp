// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: the value does not become the variable's type without loss

#include <hub/session/provider_session.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven) {
#ifdef MUST_NOT_COMPILE
    oven.declare<bool>("door", 1.5, writable, [](bool) { return true; });
#else
    oven.declare<bool>("door", true, writable, [](bool) { return true; });
#endif
}
