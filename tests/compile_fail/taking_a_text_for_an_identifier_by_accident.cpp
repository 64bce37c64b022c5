// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: (convert|conversion|bind|initializ)

#include <hub/provider.hpp>

#include <string>

using namespace arvenhold::corvel::hub;

void offer(provider const& /*offered*/) {}

void misuse(std::string const& identifier) {
#ifdef MUST_NOT_COMPILE
    offer(identifier);
#else
    offer(provider{identifier});
#endif
}
