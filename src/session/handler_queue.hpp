// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub {

/// Runs the application's handlers of one session, one after the other: at once, on the session's
/// thread; or, if they wait for dispatch, on whichever thread the application calls that from.
///
/// An exception that leaves a handler is reported through the diagnostics.
class handler_queue {
public:
    using handler = std::function<void()>;

    /// How many handlers wait before reports are dropped.
    static constexpr std::size_t many_waiting = 10'000;

    /// @param client_name         Named in reports.
    /// @param waits_for_dispatch  Whether handlers wait for dispatch().
    ///
    /// @throws std::system_error  The system has no file descriptor left.
    handler_queue(std::string client_name, bool waits_for_dispatch);

    handler_queue(handler_queue const&) = delete;
    handler_queue& operator=(handler_queue const&) = delete;
    ~handler_queue();

    /// Runs or enqueues a handler; does nothing after close(). Called on the session's thread.
    void add(handler called) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Like add(), for a report that outdates earlier ones with its subject. If many handlers wait,
    /// the oldest of these is dropped, so that what waits is bounded.
    void add_report(std::string subject, handler called) CORVEL_HUB_EXCLUDES(m_mutex);

    /// Calls a handler at once, for work of the queue that calls several; returns after a throw.
    void run(handler const& called) const;

    /// Returns a descriptor that is readable while handlers wait; -1 if they do not wait for
    /// dispatch. Valid as long as the object.
    int get_descriptor() const;

    /// Runs the handlers that are waiting now and returns how many. Handlers that call this find
    /// nothing to run.
    std::size_t dispatch() CORVEL_HUB_EXCLUDES(m_mutex, m_dispatch_mutex);

    /// Waits for a dispatch() that is running on another thread.
    void wait_for_dispatch() CORVEL_HUB_EXCLUDES(m_dispatch_mutex);

    /// Drops what waits; no handler begins any more.
    void close() CORVEL_HUB_EXCLUDES(m_mutex);

private:
    struct entry {
        std::string subject; // empty if it is no report
        handler called;
    };

    std::string const m_client_name;
    int const m_descriptor;

    std::mutex m_dispatch_mutex;                  // keeps handlers one after the other
    std::atomic<std::thread::id> m_dispatching{}; // each thread only looks for its own id

    std::mutex m_mutex;
    std::vector<entry> m_waiting CORVEL_HUB_GUARDED_BY(m_mutex);
    bool m_closed CORVEL_HUB_GUARDED_BY(m_mutex) = false;

    void add(entry added) CORVEL_HUB_EXCLUDES(m_mutex);
    handler remove_outdated() CORVEL_HUB_REQUIRES(m_mutex);
    bool is_closed() CORVEL_HUB_EXCLUDES(m_mutex);
    std::vector<entry> take_waiting() CORVEL_HUB_EXCLUDES(m_mutex);
};

} // namespace arvenhold::corvel::hub
