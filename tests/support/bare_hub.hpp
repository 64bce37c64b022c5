// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/event_log.hpp"
#include "dev_hub/nats_server.hpp"
#include "dev_hub/token_endpoint.hpp"
#include "support/raw_peer.hpp"

namespace arvenhold::corvel::hub {

/// A hub without a registry, whose part a peer plays, step by step.
struct bare_hub {
    dev::event_log log{nullptr};
    dev::nats_server nats_server{{}, log};
    dev::token_endpoint token_endpoint{{}, nats_server.get_token(), log};
    raw_peer peer{nats_server.get_url(), nats_server.get_token()};
};

} // namespace arvenhold::corvel::hub
