// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/export.hpp>

#include <chrono>
#include <cstddef>
#include <memory>

namespace arvenhold::corvel::hub {

/// Optional settings of a session. The default values suit most programs.
///
/// A setter throws std::invalid_argument for a value outside the range that its description gives;
/// the settings are unchanged then. Each getter returns what was set, or the default value.
///
/// @par Options of the connection
/// A session repairs its connection itself, because the NATS client could neither keep the pace of
/// token requests nor go on after two authorization errors. It therefore replaces these options of
/// its connection: the number of reconnect attempts (none), the buffer for reconnecting (none), the
/// interval and number of pings (as set here), the link callback, and the size of the delivery pool:
/// as set here for a consumer session, none for a provider session, because a provider waits for a
/// message while it handles another. Requests of a consumer session fail at once while it is
/// disconnected. A write deadline of 0 becomes the time after which a hanging server counts as lost.
///
/// @par Thread safety
/// Like a value: an object must not be changed while another thread uses it. Copies are cheap and
/// independent.
class CORVEL_HUB_API session_settings {
public:
    /// Sets the wait before an attempt to repair, which doubles from one attempt to the next. Each
    /// wait is shortened at random by up to a half.
    ///
    /// All sessions of a process together request at most one token in a second, and begin at most
    /// one connect, whatever is set here, so that they do not burden the token endpoint.
    ///
    /// @param first    The wait before the first attempt: 1 ms to `longest`, 250 ms by default.
    /// @param longest  The maximum: up to 24 h, 10 s by default.
    session_settings& set_retry(std::chrono::milliseconds first, std::chrono::milliseconds longest);

    /// Returns the wait before the first attempt to repair.
    std::chrono::milliseconds get_first_retry() const;

    /// Returns the longest wait before an attempt to repair.
    std::chrono::milliseconds get_longest_retry() const;

    /// Sets how a server that hangs is noticed: the client pings it, and counts it as lost at the
    /// ping that follows so many without an answer; by default after 6 s.
    ///
    /// @param interval    The time between two pings: 1 ms to 24 h, 2 s by default.
    /// @param unanswered  How many pings may be unanswered: 1 and more, 2 by default.
    session_settings& set_ping(std::chrono::milliseconds interval, int unanswered);

    /// Returns the interval between two pings.
    std::chrono::milliseconds get_ping_interval() const;

    /// Returns how many pings may be unanswered.
    int get_unanswered_pings() const;

    /// Sets whether handlers wait until the application calls the session's dispatch(); false by
    /// default: they run on the session's thread. Use it to run them in the application's own event
    /// loop.
    ///
    /// What waits is bounded. Changes stay in their queue, see change_queue, and further write
    /// commands are dropped while 10,000 write requests wait. If 10,000 handlers wait, a further
    /// change of a state drops the oldest one of the same session or provider that waits, and a
    /// further definition_change that of the same provider. The latest of each is never dropped.
    ///
    /// @param wait  Whether they wait.
    session_settings& set_handlers_wait_for_dispatch(bool wait);

    /// Returns whether handlers wait for dispatch().
    bool handlers_wait_for_dispatch() const;

    /// Sets how long a provider may send nothing before a consumer session reads its values to see
    /// whether it hangs. Has no effect on a provider session.
    ///
    /// @param interval  100 ms to 24 h, 30 s by default.
    session_settings& set_probe_interval(std::chrono::milliseconds interval);

    /// Returns how long a provider may send nothing before it is probed.
    std::chrono::milliseconds get_probe_interval() const;

    /// Sets how many threads deliver messages to a consumer session, see
    /// connect_options::set_delivery_pool_size(). Has no effect on a provider session.
    ///
    /// @param threads  1 to 1,024, 4 by default.
    session_settings& set_delivery_threads(int threads);

    /// Returns how many threads deliver messages.
    int get_delivery_threads() const;

private:
    struct CORVEL_HUB_INTERNAL values;

    std::shared_ptr<values const> m_values; // null while everything has its default value

    CORVEL_HUB_INTERNAL values const& current() const;
};

} // namespace arvenhold::corvel::hub
