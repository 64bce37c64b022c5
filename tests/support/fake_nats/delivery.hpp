// SPDX-FileCopyrightText: 2026 Arvenhold
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace arvenhold::corvel::hub::fakes {

/// A thread that runs handlers one after the other, as the NATS client has one for each
/// subscription and one for all connection callbacks. It starts with the first delivery.
struct delivery_thread {
    struct delivery {
        std::function<void()> run;
        std::size_t bytes = 0;
    };
    std::deque<delivery> waiting;
    bool is_busy = false;
    std::thread thread;
};

/// Starts, holds and stops delivery threads. Call its functions with the engine's mutex locked,
/// except stop().
class delivery_control {
public:
    /// @param mutex    The engine's, which also guards the delivery threads.
    /// @param changed  Notified after every change of a thread; used with the mutex.
    delivery_control(std::mutex& mutex, std::condition_variable& changed);

    void post(delivery_thread& thread, delivery_thread::delivery delivery);

    /// Keeps further deliveries waiting until release().
    void hold();
    void release();

    static bool is_idle(delivery_thread const& thread);

    /// Stops all threads, and waits until the handler that runs in this one has returned. Locks the
    /// mutex.
    void stop(delivery_thread& thread);

private:
    std::mutex& m_mutex;
    std::condition_variable& m_changed;
    bool m_is_held = false;
    bool m_is_stopping = false;

    void run_deliveries(delivery_thread& thread);
};

} // namespace arvenhold::corvel::hub::fakes
