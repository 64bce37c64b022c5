// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/connect_options.hpp>

#include <cstdint>
#include <vector>

namespace arvenhold::corvel::hub {

/// What the NATS client knows about a connection at one moment.
struct link_reading {
    bool is_connected = true;           ///< Before and after the other numbers were read.
    bool is_closed = false;             ///< For good.
    std::uint64_t reconnects = 0;       ///< Attempts so far that have reached a server.
    std::uint64_t dropped_messages = 0; ///< Since the reading before.
};

/// One event for the application.
struct link_report {
    link_event event = link_event::lost;
    std::uint64_t dropped_messages = 0;
};

/// Finds out from readings what has happened to a link that was connected at the beginning.
class link_history {
public:
    /// Returns what has happened since the reading before, in order: `lost` and `restored`
    /// alternate, and nothing follows `closed`. Losses between two readings count as one.
    std::vector<link_report> update(link_reading const& now);

    /// Returns whether the link is closed for good.
    bool is_closed() const;

private:
    bool m_is_up = true;
    bool m_is_closed = false;
    std::uint64_t m_reconnects = 0;
};

} // namespace arvenhold::corvel::hub
