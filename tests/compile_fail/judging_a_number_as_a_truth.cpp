// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: a handler is a bool .*with the variable's own type

#include <hub/session/provider_session.hpp>

using namespace arvenhold::corvel::hub;

#ifdef MUST_NOT_COMPILE
bool accept(bool wanted);
#else
bool accept(double wanted);
#endif

void misuse(provider_session& oven) {
    oven.declare<double>("set_point", 150.0, writable, accept);
}
