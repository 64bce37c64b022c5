// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Refused: (convert|conversion|bind|initializ)

#include <hub/provider.hpp>
#include <hub/provider_definition.hpp>

using namespace arvenhold::corvel::hub;

void misuse(provider& parent, provider_definition& definition) {
#ifdef MUST_NOT_COMPILE
    parent.register_provider_definition(definition.get_fingerprint());
#else
    parent.register_provider_definition(definition);
#endif
}
