// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// What the tests of the kit share.

#pragma once

#include "support/raw_peer.hpp" // patience
#include "support/thrown_message.hpp"
#include <hub/hub.hpp>
#include <hub/testkit/testkit.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <string>

namespace arvenhold::corvel::hub::testkit {

/// For waits that are expected to fail.
inline constexpr std::chrono::milliseconds no_time{20};

/// Connects a client of the core as the program under test.
template <class Client>
void connect(Client& client, hub_access const& access) {
    client.connect(
        access.server_url,
        access.token_endpoint,
        access.client_id,
        access.client_secret,
        access.options);
}

inline auto const both_servers = testing::Values(server_kind::nats_server, server_kind::in_process);

/// Names the tests with each kind of server.
inline constexpr auto server_name = [](testing::TestParamInfo<server_kind> const& info) {
    return std::string{info.param == server_kind::nats_server ? "nats_server" : "in_process"};
};

/// A hub, and an oven that is not on it yet.
class oven_test : public testing::TestWithParam<server_kind> {
protected:
    oven_test() {
        oven.offers("temperature", 20.0);
        oven.offers("set_point", 150.0, writable);
        oven.offers("name", "north", writable);
    }

    captured_diagnostics diagnostics;
    local_hub hub{GetParam()};
    scripted_provider oven{hub, "oven"};
    scripted_consumer panel{hub, "panel"};
};

} // namespace arvenhold::corvel::hub::testkit
