// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

// The thread of a server that waits for many sockets at once.

#pragma once

#include "dev_hub/file_descriptor.hpp"

#include <poll.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

namespace arvenhold::corvel::hub::dev {

/// What to wait for until the next call.
struct poll_round {
    std::vector<pollfd> watched;

    /// The longest wait; negative for any time.
    std::chrono::milliseconds limit{-1};
};

/// Calls a function again and again: when one of the sockets is ready that it names, when its limit
/// has passed, and after wake().
class poll_thread {
public:
    /// @param serve  Runs on the thread, and must not throw.
    ///
    /// @throws dev_hub_failure  The process has too many open files, or the system no thread left.
    explicit poll_thread(std::function<poll_round()> serve);

    poll_thread(poll_thread const&) = delete;
    poll_thread(poll_thread&&) = delete;
    poll_thread& operator=(poll_thread const&) = delete;
    poll_thread& operator=(poll_thread&&) = delete;

    /// Waits for a call in progress; there is none afterwards.
    ~poll_thread();

    /// Ends the wait. May be called from any thread.
    void wake();

private:
    std::function<poll_round()> const m_serve;
    file_descriptor const m_wake;      // readable after wake()
    std::atomic<bool> m_ending{false}; // set before the last wake()
    std::thread m_thread;

    void run();
};

} // namespace arvenhold::corvel::hub::dev
