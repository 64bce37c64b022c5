// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "support/await.hpp"
#include "support/captured_stream.hpp"
#include "support/raw_peer.hpp"
#include "support/recorded.hpp"
#include <hub/hub.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub {

using event = provider_connection_event;
using state = provider_connection_state;

inline constexpr timestamp at_noon{std::chrono::nanoseconds{1'700'000'000'123'456'789}};

/// A hub that by default notices lost and returned providers within a few hundredths of a second.
class exchange_test : public testing::Test {
protected:
    explicit exchange_test(
        std::chrono::milliseconds probe_interval = std::chrono::milliseconds{50});

    template <class Client>
    void connect(Client& client) {
        client.connect(
            hub.get_nats_server().get_url(),
            hub.get_token_endpoint().get_url(),
            "developer",
            "developer-secret");
    }

    captured_stream error_output{std::cerr};
    captured_stream output{std::cout};
    dev::dev_hub hub;
};

/// A provider with its list.
class offering {
public:
    /// Registers a definition, which is published with the next connect.
    offering(
        std::string const& identifier,
        definition_fingerprint fingerprint,
        std::vector<variable_definition_entry> const& entries);

    /// Replaces the definition; the provider must be connected.
    void offer(
        definition_fingerprint fingerprint, std::vector<variable_definition_entry> const& entries);

    /// Applies what consumers write and publishes it as of at_noon.
    void apply_writes();

    [[nodiscard]] variable_id id_of(std::string const& path) const;

    provider sender;
    std::shared_ptr<variable_list> list;
};

/// A consumer, and what its callbacks have told.
class watcher {
public:
    using change = std::pair<definition_fingerprint, std::vector<variable_id>>;

    explicit watcher(std::string const& name, bool read_only = false);

    /// Attaches and listens to the connection.
    std::shared_ptr<provider_connection> attach(std::string const& provider_id);

    recorded<std::set<std::string>> lists;
    recorded<event> events;
    recorded<change> changes;
    consumer receiver;
};

/// The variable with the given path.
consumer_variable& variable(provider_connection& connection, std::string const& path);

/// A copy of its value.
variable_value value_of(provider_connection& connection, std::string const& path);

/// The qualities of all variables.
std::vector<variable_quality> qualities(provider_connection& connection);

} // namespace arvenhold::corvel::hub
