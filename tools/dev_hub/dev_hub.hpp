// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// A complete hub on one machine: NATS server, token endpoint and registry, ready when constructed
// and gone when destroyed. For tests, the demo, and the program of the same name.

#pragma once

#include "dev_hub/event_log.hpp"
#include "dev_hub/fault_injector.hpp"
#include "dev_hub/nats_server.hpp"
#include "dev_hub/registry.hpp"
#include "dev_hub/token_endpoint.hpp"

#include <iosfwd>

namespace arvenhold::corvel::hub::dev {

struct dev_hub_options {
    nats_server_options nats_server;
    token_endpoint_options token_endpoint;
    registry_options registry;

    /// Gets one line per event; null for none. Must outlive the hub.
    std::ostream* lines = nullptr;
};

/// Owns the three services and injects faults into them.
///
/// What a client needs to connect: the URLs of the NATS server and of the token endpoint, and one
/// of the accepted clients of the options, by default "developer" with "developer-secret".
class dev_hub {
public:
    /// Starts everything, and returns when clients can connect.
    ///
    /// @throws dev_hub_failure  Something cannot be started; nothing is left running.
    explicit dev_hub(dev_hub_options options = {});

    [[nodiscard]] nats_server& get_nats_server();
    [[nodiscard]] token_endpoint& get_token_endpoint();
    [[nodiscard]] registry& get_registry();
    [[nodiscard]] event_log& get_log();

    /// Faults that end by themselves. The services have faults of their own that last until they
    /// are switched off; a test uses either for a service, not both.
    [[nodiscard]] fault_injector& get_faults();

private:
    // Destroyed from the last to the first: each one uses those above it.
    event_log m_log;
    nats_server m_nats_server;
    token_endpoint m_token_endpoint;
    registry m_registry;
    fault_injector m_faults;
};

} // namespace arvenhold::corvel::hub::dev
