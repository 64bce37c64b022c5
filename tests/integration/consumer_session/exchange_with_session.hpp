// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "integration/exchange/exchange_test.hpp"
#include <hub/session/consumer_session.hpp>

#include <optional>
#include <string>
#include <vector>

namespace arvenhold::corvel::hub {

/// The values and freshness that a handler was called with.
using shown = std::pair<variable_value, freshness>;

/// A hub, a provider "oven", and what a session needs to follow it.
class exchange_with_session : public exchange_test {
protected:
    [[nodiscard]] hub_access access();

    /// Notices a hanging server and a hanging provider sooner than by default.
    static session_settings quick_settings();

    void start_oven(definition_fingerprint fingerprint, double temperature);

    void publish_temperature(double temperature);

    /// Waits until the reading is live and has the value.
    static bool becomes_live(followed_variable<double> const& followed, double value);

    static bool becomes_stale(followed_variable<double> const& followed);

    std::optional<offering> oven;
};

} // namespace arvenhold::corvel::hub
