// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "support/await.hpp"
#include "support/bare_hub.hpp"
#include "support/boiler.hpp"
#include "support/captured_stream.hpp"
#include "support/consumer_messages.hpp"
#include "support/provider_messages.hpp"
#include "support/recorded.hpp"
#include "support/thrown_message.hpp"
#include <hub/hub.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

namespace arvenhold::corvel::hub {

using namespace std::chrono_literals;

/// What a link callback has told.
class link_record {
public:
    /// Options that reconnect quickly and tell this object about the link.
    connect_options options() {
        return connect_options{}
            .set_link_callback(&add, this)
            .set_reconnect_wait(20ms)
            .set_reconnect_jitter(0ms, 0ms);
    }

    [[nodiscard]] bool wait_for_count(std::size_t count) const {
        return m_told.wait_for_count(count);
    }

    [[nodiscard]] std::vector<link_event> events() const {
        std::vector<link_event> found;
        for (auto const& [event, dropped] : m_told.get()) {
            found.push_back(event);
        }
        return found;
    }

    [[nodiscard]] std::uint64_t dropped_messages() const {
        std::uint64_t sum = 0;
        for (auto const& [event, dropped] : m_told.get()) {
            sum += dropped;
        }
        return sum;
    }

private:
    recorded<std::pair<link_event, std::uint64_t>> m_told;

    static void add(link_event event, std::uint64_t dropped, void* user_data) {
        static_cast<link_record*>(user_data)->m_told.add({event, dropped});
    }
};

/// A hub whose registry and whose provider "boiler" the test plays, for clients with options.
class hub_for_options : public testing::Test {
protected:
    // The peer ends with a round trip to the server.
    void TearDown() override {
        hub.nats_server.start();
    }

    template <class Client>
    void connect(Client& client, connect_options const& options) {
        client.connect(
            hub.nats_server.get_url(),
            hub.token_endpoint.get_url(),
            "developer",
            "developer-secret",
            options);
    }

    /// Lets the peer answer as a registry that knows the boiler, and as the boiler.
    void play_registry_and_boiler() {
        hub.peer.answer(
            "v1.loc.registry.providers.qry.read", wire::provider_list_reply({"boiler"}));
        hub.peer.answer(
            "v1.loc.registry.providers.boiler.def.qry.read",
            wire::definition_reply(77, {wire::defined(1, "temperature", wire::double_code)}));
        hub.peer.answer("v1.loc.boiler.vars.qry.read", wire::read_reply(77, {wire::item(1, 20.5)}));
    }

    captured_stream errors{std::cerr};
    captured_stream output{std::cout};
    bare_hub hub;
    link_record link; // outlives the clients, which a test declares
};

/// The status in the connection_failed that `work` throws; -1 if it throws none.
template <class Work>
int thrown_status(Work work) {
    try {
        work();
    } catch (connection_failed const& failure) {
        return failure.get_nats_status();
    }
    return -1;
}

} // namespace arvenhold::corvel::hub
