// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: a handler is a bool .*with the variable's own type

#include <hub/session/provider_session.hpp>

#include <algorithm>

using namespace arvenhold::corvel::hub;

void misuse(provider_session& oven) {
#ifdef MUST_NOT_COMPILE
    oven.declare<double>(
        "set_point", 150.0, writable, [](double wanted) { return std::min(wanted, 300.0); });
#else
    oven.declare<double>("set_point", 150.0, writable, [](write_request<double> request) {
        request.accept_as(std::min(request.get_wanted(), 300.0));
    });
#endif
}
