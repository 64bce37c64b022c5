// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/await.hpp"
#include "support/bare_hub.hpp"
#include "support/captured_stream.hpp"
#include "support/consumer_messages.hpp"
#include "support/recorded.hpp"
#include <hub/hub.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <set>
#include <string>

namespace arvenhold::corvel::hub {

using event = provider_connection_event;
using state = provider_connection_state;

/// A consumer "panel" on a hub whose registry and whose provider "boiler" the test plays.
class panel_on_hub : public testing::Test {
protected:
    panel_on_hub();

    void connect();
    void connect(consumer& client, std::string const& secret = "developer-secret");

    /// Lets the peer answer as a registry that knows the boiler.
    void play_registry();

    /// Lets the peer answer as a boiler with the fingerprint 77 and two variables: 1 "temperature",
    /// read-only, and 2 "set_point".
    void play_boiler();

    /// Attaches to the boiler and listens to the connection. Needs registry and boiler.
    std::shared_ptr<provider_connection> attach();

    captured_stream error_output{std::cerr};
    captured_stream output{std::cout};
    bare_hub hub;
    recorded<std::set<std::string>> lists;
    recorded<event> events;
    recorded<std::vector<variable_id>> changes;
    consumer panel;
};

variable_value value_of(provider_connection& connection, variable_id id);

} // namespace arvenhold::corvel::hub
