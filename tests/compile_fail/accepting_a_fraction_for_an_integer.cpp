// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: the value does not become the variable's type without loss

#include <hub/session/provider_session.hpp>

#include <cstdint>

using namespace arvenhold::corvel::hub;

void misuse(write_request<std::int64_t>& count, write_request<double>& set_point) {
#ifdef MUST_NOT_COMPILE
    count.accept_as(2.7);
#endif
    count.accept_as(2);
    set_point.accept_as(300.0);
}
