// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "dev_hub/dev_hub.hpp"

#include <utility>

namespace arvenhold::corvel::hub::dev {

dev_hub::dev_hub(dev_hub_options options)
    : m_log{options.lines}
    , m_nats_server{std::move(options.nats_server), m_log}
    , m_token_endpoint{std::move(options.token_endpoint), m_nats_server.get_token(), m_log}
    , m_registry{m_nats_server.get_direct_url(), m_nats_server.get_token(), options.registry, m_log}
    , m_faults{m_nats_server, m_token_endpoint, m_registry, m_log} {}

nats_server& dev_hub::get_nats_server() {
    return m_nats_server;
}

token_endpoint& dev_hub::get_token_endpoint() {
    return m_token_endpoint;
}

registry& dev_hub::get_registry() {
    return m_registry;
}

event_log& dev_hub::get_log() {
    return m_log;
}

fault_injector& dev_hub::get_faults() {
    return m_faults;
}

} // namespace arvenhold::corvel::hub::dev
