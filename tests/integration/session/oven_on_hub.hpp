// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "dev_hub/dev_hub.hpp"
#include "support/await.hpp"
#include "support/provider_messages.hpp"
#include "support/raw_peer.hpp"
#include "support/recorded.hpp"
#include <hub/hub.hpp>
#include <hub/session/provider_session.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace arvenhold::corvel::hub {

inline constexpr timestamp at_noon{std::chrono::nanoseconds{1'700'000'000'123'456'789}};
inline constexpr timestamp at_one{at_noon + std::chrono::hours{1}};
inline constexpr auto good = variable_quality::good;

/// A variable as a consumer sees it.
struct seen_variable {
    variable_value value;
    variable_quality quality;
    timestamp when;

    friend bool operator==(seen_variable const&, seen_variable const&) = default;
};

/// Collects the texts of all diagnostics of the process while it lives.
class collected_diagnostics {
public:
    collected_diagnostics();
    collected_diagnostics(collected_diagnostics const&) = delete;
    collected_diagnostics& operator=(collected_diagnostics const&) = delete;
    ~collected_diagnostics();

    recorded<std::string> texts;
};

/// A hub, a provider session "oven" for it, and consumers of the core that look at it.
class oven_on_hub : public testing::Test {
protected:
    oven_on_hub();

    /// Ends the session before what its handlers use.
    void TearDown() override {
        oven.reset();
    }

    collected_diagnostics diagnostics;
    dev::dev_hub hub;

    [[nodiscard]] hub_access access();

    /// Short waits, so that tests are short: all sessions of a process together connect once in a
    /// second anyway.
    static session_settings quick();

    /// Reads a variable through a new consumer; nothing if that is not possible at present.
    [[nodiscard]] std::optional<seen_variable> read(
        std::string const& path, std::string const& provider_id = "oven");

    /// Waits until a new consumer sees the variable like this.
    testing::AssertionResult sees(
        std::string const& path, seen_variable const& wanted, std::string const& id = "oven");

    /// Writes a variable through a new consumer.
    void write(std::string const& path, variable_value const& value);

    template <class Client>
    void connect(Client& client) {
        auto const chosen = access();
        client.connect(
            chosen.server_url, chosen.token_endpoint, chosen.client_id, chosen.client_secret);
    }

    std::unique_ptr<provider_session> oven =
        std::make_unique<provider_session>("oven", access(), quick());

    /// Waits until the session has this state.
    bool becomes(session_state state);

    /// Starts the session and waits until it is ready.
    void start();
};

} // namespace arvenhold::corvel::hub
