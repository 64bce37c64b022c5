// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// Confirmed writes beside what the main thread does.

#pragma once

#include "corvelctl/event_flag.hpp"
#include "corvelctl/exit_code.hpp"
#include <hub/session/consumer_session.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace arvenhold::corvel::hub::ctl {

struct queued_write {
    std::string request; ///< Whatever distinguishes it for the caller.
    std::string provider;
    std::string path;
    variable_value value;
};

struct write_result {
    queued_write write;
    write_outcome outcome = write_outcome::not_confirmed;
    std::optional<failure> failed; ///< Why it was not sent; nothing if it was.
};

/// Sends writes one after the other, each when the one before has been confirmed or has not, on a
/// thread of its own.
///
/// @par Thread safety
/// To be used on one thread.
class write_queue {
public:
    /// @param session  Must outlive this object, and should be stopped before, which ends a wait.
    /// @param within   How long a provider may take to confirm.
    write_queue(consumer_session& session, std::chrono::milliseconds within);

    write_queue(write_queue const&) = delete;
    write_queue& operator=(write_queue const&) = delete;

    /// Waits for the write that was sent last; leaves out those that wait.
    ~write_queue();

    void add(queued_write write);

    /// Returns what has ended since the last call.
    [[nodiscard]] std::vector<write_result> take_results();

    /// Whether results are missing that take_results() has not returned.
    [[nodiscard]] bool is_busy() const;

    /// Returns a descriptor that is readable while results wait.
    [[nodiscard]] int get_descriptor() const;

private:
    void run();
    [[nodiscard]] write_result send(queued_write write) const;

    consumer_session& m_session;
    std::chrono::milliseconds const m_within;
    event_flag m_ready; // raised while there are results
    std::size_t m_missing = 0;

    std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
    bool m_ended = false;
    std::deque<queued_write> m_waiting;
    std::vector<write_result> m_results;

    std::thread m_thread;
};

} // namespace arvenhold::corvel::hub::ctl
