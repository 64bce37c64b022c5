// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: pass that type, such as 20.0 for a double

#include <hub/session/provider_session.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven) {
#ifdef MUST_NOT_COMPILE
    oven.declare<double>("temperature", 20);
#else
    oven.declare<double>("temperature", 20.0);
#endif
}
