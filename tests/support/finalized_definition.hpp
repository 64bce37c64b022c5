// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/provider_definition.hpp>

#include <vector>

namespace arvenhold::corvel::hub {

/// A definition that can be registered.
class finalized_definition : public provider_definition {
public:
    finalized_definition(
        definition_fingerprint fingerprint, std::vector<variable_definition_entry> const& entries)
        : provider_definition{fingerprint} {
        bulk_add_variable_definitions(entries);
        finalize();
    }
};

} // namespace arvenhold::corvel::hub
