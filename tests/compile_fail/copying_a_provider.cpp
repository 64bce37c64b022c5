// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: deleted

#include <hub/provider.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider& original) {
#ifdef MUST_NOT_COMPILE
    provider copy{original};
#else
    provider& copy{original};
#endif
    copy.disconnect();
}
