// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: a handler is a bool .*with the variable's own type

#include <hub/session/provider_session.hpp>

#include <string>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven) {
#ifdef MUST_NOT_COMPILE
    using handled = std::string;
#else
    using handled = double;
#endif
    oven.declare<double>("set_point", 150.0, writable, [](handled const&) { return true; });
}
