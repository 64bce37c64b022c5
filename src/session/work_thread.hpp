// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hub/detail/thread_annotations.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace arvenhold::corvel::hub {

/// A thread that runs what it is given, one after the other: the thread of a session, which owns the
/// session's state, and the threads for operations that wait for the network.
///
/// All operations may be called from any thread, also from the work itself. Work must not throw.
///
/// 1. Work runs in the order in which it was posted. Work with a time runs when that has come, and
///    before posted work that is not yet running.
/// 2. Nothing begins once stop() has returned, except finish()'s work; what has not begun is
///    destroyed, without a lock.
class work_thread {
public:
    using work = std::function<void()>;
    using time_point = std::chrono::steady_clock::time_point;
    using duration = std::chrono::steady_clock::duration;

    /// Does not start the thread.
    work_thread();

    work_thread(work_thread const&) = delete;
    work_thread& operator=(work_thread const&) = delete;

    /// Stops and joins. On the thread itself it cannot join: the thread ends when the running work
    /// returns.
    ~work_thread();

    /// Starts the thread, unless it has been started. Work may be posted before.
    ///
    /// @throws std::system_error  The system has no thread left.
    void start() CORVEL_HUB_EXCLUDES(m_join_mutex);

    /// Appends work. Dropped after stop().
    void post(work task);

    /// Adds work for a time. Dropped after stop().
    void post_at(time_point when, work task);

    /// Runs work at once and, until stop() or finish(), again when an interval has passed since it
    /// last began. Needs memory only now. Dropped after stop().
    void repeat(duration interval, work task);

    /// Begins to end: what is running returns, nothing else begins.
    void stop();

    /// Like stop(), but what has been posted without a time still runs, and after it `last`. Needs no
    /// memory.
    void finish(work last);

    /// Waits until the thread has ended after stop() or finish(); returns at once on the thread
    /// itself and if it was never started.
    void join() CORVEL_HUB_EXCLUDES(m_join_mutex);

    /// Returns whether the caller is the thread.
    bool is_current() const;

private:
    struct queue; // shared with the thread, which may outlive this object

    std::shared_ptr<queue> const m_queue;
    mutable std::mutex m_join_mutex;
    std::thread m_thread CORVEL_HUB_GUARDED_BY(m_join_mutex);

    void add(time_point when, duration interval, work task);
    static void run(queue& shared);
};

} // namespace arvenhold::corvel::hub
