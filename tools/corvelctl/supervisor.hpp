// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Ends the program in time: when its time is up, and when a signal asks for it.

#pragma once

#include "corvelctl/event_flag.hpp"
#include "corvelctl/exit_code.hpp"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace arvenhold::corvel::hub::ctl {

/// Watches over a command on a thread of its own, because the library's calls cannot be interrupted.
///
/// A command that asks once is ended at once by SIGINT or SIGTERM, and when its time is up. A command
/// that lasts asks for the signals with last_until_signal() and ends by itself.
///
/// @par Thread safety
/// All operations may be called from any thread.
class supervisor {
public:
    using clock = std::chrono::steady_clock;

    /// Blocks the signals for all threads that are started later. Must be called on the main thread
    /// before any other thread starts.
    static void block_signals();

    /// Starts to watch for signals.
    ///
    /// @param report  Shows that the time is up, on a thread of its own, and returns how the program
    ///                ends.
    /// @param stuck   How the program ends if `report` does not return in 2 s, as its reader may be
    ///                stuck.
    supervisor(std::function<exit_code(failure const&)> report, exit_code stuck);

    supervisor(supervisor const&) = delete;
    supervisor& operator=(supervisor const&) = delete;

    ~supervisor();

    /// Ends the program with a timeout when the time is up, unless last_until_signal() was called.
    void set_time(std::chrono::milliseconds limit);

    /// Returns the time that is left, at least 1 ms; that of set_time(), or 24 h if there is none.
    [[nodiscard]] std::chrono::milliseconds get_time_left() const;

    /// Sets what the text of a timeout says, as "reading boiler".
    void set_step(std::string doing);

    /// From now on signals and time no longer end the program; wait_for_signal() returns instead. A
    /// second signal ends it, and so does the time that a command has to end by itself.
    void last_until_signal();

    /// Ends the program with this code unless it has ended by itself in 2 s: a session may wait for
    /// the network much longer, and a reader of the output forever. The first call counts; set_time()
    /// changes the 2 s afterwards. Does not return if the program is ending because its time is up.
    void end_soon(exit_code code);

    /// Returns a descriptor that is readable once a signal asks the program to end. For polling.
    [[nodiscard]] int get_signal_descriptor() const;

    /// Waits until a signal asks the program to end.
    ///
    /// @return the exit code; nothing if `limit` has passed before.
    [[nodiscard]] std::optional<exit_code> wait_for_signal(clock::time_point limit);

    /// Wakes wait_for_signal(), which then returns nothing.
    void wake();

private:
    void run();
    void handle_signal(int number);
    void end_if_late();
    void end_for_time();
    void limit_end(exit_code code);
    void limit_end_locked(exit_code code);
    void wait_for_report();
    [[nodiscard]] int get_poll_time() const;

    std::function<exit_code(failure const&)> const m_report;
    exit_code const m_stuck;
    int const m_signals;  // descriptor that is readable when a signal is pending
    event_flag m_changes; // raised when the thread should look again
    event_flag m_asked;   // raised by the first signal

    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
    std::optional<clock::time_point> m_deadline;
    std::chrono::milliseconds m_limit{};
    std::string m_step = "starting";
    bool m_lasts = false;
    bool m_ended = false;
    bool m_reports = false; // that the time is up, which ends the program
    bool m_woken = false;
    std::optional<exit_code> m_signal;
    std::optional<exit_code> m_late; // how the program ends when the deadline has passed

    std::thread m_thread;
};

} // namespace arvenhold::corvel::hub::ctl
