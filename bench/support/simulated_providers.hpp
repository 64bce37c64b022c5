// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Many providers that cost little: one NATS client that registers all of them and answers their
// read requests with the same bytes.

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "support/raw_nats.hpp"

#include <cstddef>
#include <string>

namespace arvenhold::corvel::hub::bench {

/// The identifier of a simulated provider.
inline std::string simulated_provider(std::size_t number) {
    return "station-" + std::to_string(number);
}

class simulated_providers {
public:
    /// Returns when the hub lists all providers.
    ///
    /// @param count      How many providers there are.
    /// @param variables  How many doubles each of them has.
    simulated_providers(dev::dev_hub& hub, std::size_t count, std::size_t variables);

private:
    std::string const m_values;
    raw_nats m_nats; // uses the values until it is gone
};

} // namespace arvenhold::corvel::hub::bench
