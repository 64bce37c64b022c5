// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: deleted

#include <hub/session/write_request.hpp>

#include <utility>

using namespace arvenhold::corvel::hub;

void misuse(any_write_request original) {
#ifdef MUST_NOT_COMPILE
    any_write_request copy{original};
#else
    any_write_request copy{std::move(original)};
#endif
    copy.accept();
}
