// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace arvenhold::corvel::hub {

class callback_gate;
class nats_session;

/// Why no connection to a provider can be created.
inline constexpr std::string_view consumer_not_connected =
    "cannot set up a connection with a provider: not currently connected to the corvel-hub";

/// What a connection needs of its consumer. A copy of its own, so that the connection may outlive
/// the consumer; the session is closed by then and refuses everything.
struct consumer_link {
    std::string name{};
    bool read_only = false;
    std::shared_ptr<callback_gate> gate{};
    std::shared_ptr<nats_session> session{}; ///< Null when the consumer is not connected.
};

} // namespace arvenhold::corvel::hub
