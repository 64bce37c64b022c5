// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: a variable is bool, double, std::int64_t

#include <hub/session/provider_session.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven) {
#ifdef MUST_NOT_COMPILE
    oven.declare<float>("temperature", 20.0F);
#else
    oven.declare<double>("temperature", 20.0F);
#endif
}
