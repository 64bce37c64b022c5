// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: (convert|conversion|bind|initializ)

#include <hub/common.hpp>

using namespace arvenhold::corvel::hub;

variable_quality misuse() {
#ifdef MUST_NOT_COMPILE
    return 192;
#else
    return variable_quality::good;
#endif
}
