// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#include "session/link_options.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace arvenhold::corvel::hub {

namespace {

using std::chrono::milliseconds;

// The time after which a hanging server counts as lost.
milliseconds time_to_notice(session_settings const& settings) {
    auto const time = settings.get_ping_interval() * (settings.get_unanswered_pings() + 1LL);
    return std::min<milliseconds>(time, std::chrono::hours{24});
}

} // namespace

connect_options link_options(connect_options chosen, session_settings const& settings) {
    chosen.set_reconnect_attempts(0)
        .set_reconnect_buffer(0)
        .set_ping_interval(settings.get_ping_interval())
        .set_unanswered_pings(settings.get_unanswered_pings());
    if (chosen.get_write_deadline() == milliseconds{0}) {
        chosen.set_write_deadline(time_to_notice(settings));
    }
    return chosen;
}

} // namespace arvenhold::corvel::hub
