// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: deleted

#include <hub/consumer.hpp>

using namespace arvenhold::corvel::hub;

void misuse(consumer& original) {
#ifdef MUST_NOT_COMPILE
    consumer copy{original};
#else
    consumer& copy{original};
#endif
    copy.disconnect();
}
