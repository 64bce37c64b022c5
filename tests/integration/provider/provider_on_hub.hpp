// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "support/bare_hub.hpp"
#include "support/boiler.hpp"
#include "support/captured_stream.hpp"
#include "support/raw_peer.hpp"
#include <hub/hub.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// A provider, "boiler", and everything that it writes to the standard streams.
class lone_provider : public testing::Test {
protected:
    captured_stream errors{std::cerr};
    captured_stream output{std::cout};
};

/// Connects to a hub as the client that its token endpoint knows.
void connect(
    provider& connecting, dev::nats_server const& server, dev::token_endpoint const& tokens);

/// A provider on a hub with a registry.
class provider_on_dev_hub : public lone_provider {
protected:
    provider_on_dev_hub();

    dev::dev_hub hub;
    raw_peer peer{hub.get_nats_server().get_url(), hub.get_nats_server().get_token()};
    provider boiler{"boiler"};

    void connect_boiler();
};

/// A provider on a hub whose registry the test plays.
class provider_on_bare_hub : public lone_provider {
protected:
    bare_hub hub;
    raw_peer& peer = hub.peer;
    provider boiler{"boiler"};

    void connect_boiler();

    /// Runs `work`, which waits for a verdict, on a thread of its own, and publishes `verdict`
    /// until it is through: the first one may arrive before the wait begins.
    template <class Work>
    auto with_verdict(std::string const& verdict, Work work) {
        auto done = std::async(std::launch::async, std::move(work));
        while (done.wait_for(std::chrono::milliseconds{5}) != std::future_status::ready) {
            peer.publish(subjects::verdict, verdict);
        }
        return done.get();
    }

    /// Publishes a message again and again until the provider has written `line`: right after
    /// connecting the server may not know the provider's subscriptions yet.
    void publish_until_written(
        captured_stream const& stream,
        std::string_view line,
        std::string const& subject,
        std::string const& bytes,
        std::string const& reply_subject = {});

    /// Registers a definition, which the registry accepts.
    std::shared_ptr<variable_list> register_boiler(definition_fingerprint fingerprint);
};

} // namespace arvenhold::corvel::hub
