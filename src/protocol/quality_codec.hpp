// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "protocol/hub_messages_generated.h"
#include <hub/common.hpp>

namespace arvenhold::corvel::hub {

/// Returns the quality as sent. Intended: an unknown one is sent as uncertain, although an unknown
/// one that is received counts as good.
inline VariableQuality to_wire(variable_quality quality) {
    switch (quality) {
    case variable_quality::bad:
    case variable_quality::uncertain:
    case variable_quality::uncertain_last_usable_value:
    case variable_quality::uncertain_initial_value:
    case variable_quality::good:
        return static_cast<VariableQuality>(quality);
    }
    return VariableQuality::Uncertain;
}

/// Returns a received quality. Intended: an unknown one counts as good, although an unknown one is
/// sent as uncertain.
inline variable_quality quality_from_wire(VariableQuality quality) {
    switch (quality) {
    case VariableQuality::Bad:
    case VariableQuality::Uncertain:
    case VariableQuality::UncertainLastUsableValue:
    case VariableQuality::UncertainInitialValue:
        return static_cast<variable_quality>(quality);
    case VariableQuality::Good:
        break;
    }
    return variable_quality::good;
}

} // namespace arvenhold::corvel::hub
